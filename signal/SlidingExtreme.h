/// The smallest or the largest of the last samples of a channel.
#pragma once

#include "core/SampleTypes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

namespace Velmarosk::Operation {

/// The order for a smallest sample. Of equal floating samples the oldest is shown, so a newer one does not displace it:
/// the sign of a zero makes that visible. Equal integers look the same, so only the newest is kept.
struct Smallest {
    template <Sample T>
    static constexpr T start = std::numeric_limits<T>::max();

    template <Sample T>
    static bool IsReached(T sample, T extreme) noexcept {
        return sample <= extreme;
    }
    /// Whether an older sample can never be the extreme any more.
    template <Sample T>
    static bool Displaces(T newer, T older) noexcept {
        if constexpr (FloatSample<T>)
            return newer < older;
        else
            return newer <= older;
    }
};

/// The order for a largest sample. Of equal samples the newest is shown.
struct Largest {
    template <Sample T>
    static constexpr T start = std::numeric_limits<T>::lowest();

    template <Sample T>
    static bool IsReached(T sample, T extreme) noexcept {
        return sample >= extreme;
    }
    template <Sample T>
    static bool Displaces(T newer, T older) noexcept {
        return newer >= older;
    }
};

/// A wedge: of the samples held only those that can still become the extreme, oldest first. The first entry is the
/// extreme; a new sample displaces entries at the end. For most data these are in the newest block, which is searched
/// one by one; beyond it a halving search takes over. So for any data a sample costs logarithmic work at most and
/// constant work on average.
///
/// The entries are in a ring of blocks, which Append extends so that all samples held could be entries. Nothing else
/// takes memory, and the blocks stay until the end. One array that doubles needs little less code, but it copies: while
/// a window of 100000 filled, one sample took 0.4 to 0.6 ms; with blocks none took more than 7 us.
///
/// NaNs are held like other samples and never become an entry.
template <class TOrder, Sample T>
class SlidingExtreme {
public:
    UInt64 Held() const noexcept { return held; }
    /// False if nothing but NaNs is held.
    bool HasExtreme() const noexcept { return IntegerSample<T> || entries != 0; }
    T Extreme() const noexcept { return first->sample; }

    /// Holds one more sample. Do not call it between Replace and Clear.
    void Append(T sample) {
        if (held + 1 >= capacity && capacity < maxEntries) // Replace briefly needs one entry more
            Extend();
        ++held;
        Enter(sample);
    }

    /// Removes the oldest sample and adds another one. There must be one.
    void Replace(T sample) noexcept {
        Enter(sample);
        if (entries != 0 && first->arrival == static_cast<UInt32>(nextArrival - held) - 1)
            DropOldest();
    }

    void Clear() noexcept {
        held = 0;
        entries = 0;
        firstSlot = 0;
        if (capacity != 0)
            first = AtSlot(0);
    }

private:
    static constexpr std::size_t blockLength = 64;
    /// Entries of an integer type all differ.
    static constexpr UInt64 maxEntries =
        sizeof(T) < sizeof(UInt32) ? UInt64{1} << (8 * sizeof(T)) : std::numeric_limits<UInt64>::max();

    struct Entry {
        T sample;
        /// When it came, counted in samples. May wrap: fewer than 2^32 are held once samples leave.
        UInt32 arrival;
    };
    using Block = std::array<Entry, blockLength>;

    // Slots are numbered over all blocks, entries from the oldest.

    Entry* AtSlot(std::size_t slot) const noexcept { return &(*blocks[slot / blockLength])[slot % blockLength]; }
    std::size_t Wrap(std::size_t slot) const noexcept { return slot < capacity ? slot : slot - capacity; }
    bool IsDisplaced(std::size_t entry, T sample) const noexcept {
        return TOrder::Displaces(sample, AtSlot(Wrap(firstSlot + entry))->sample);
    }

    /// Removes displaced entries from the block of the newest one, and leaves older blocks to EnterSlowly.
    [[gnu::always_inline]] void Enter(T sample) noexcept {
        if (IsNaN(sample)) [[unlikely]] {
            ++nextArrival;
            return;
        }
        Entry* place = next;
        const Entry* const lookEnd = place - std::min(entries, nextSlot % blockLength);
        for (;;) {
            const auto cut = static_cast<std::size_t>(next - place);
            if (place == lookEnd) [[unlikely]]
                return EnterSlowly(sample, entries - cut);
            if (!TOrder::Displaces(sample, place[-1].sample))
                return Push(sample, place, nextSlot - cut, entries - cut);
            --place;
        }
    }

    /// Keeps as many of the oldest entries as the sample does not displace, mostly all of them.
    [[gnu::noinline]] void EnterSlowly(T sample, std::size_t oldestEntries) noexcept {
        std::size_t kept = oldestEntries;
        if (kept != 0 && IsDisplaced(kept - 1, sample)) {
            std::size_t end = kept - 1;
            for (kept = 0; kept != end;) {
                const std::size_t middle = (kept + end) / 2;
                if (IsDisplaced(middle, sample))
                    end = middle;
                else
                    kept = middle + 1;
            }
        }
        const std::size_t slot = Wrap(firstSlot + kept);
        if (slot % blockLength == 0)
            PrefetchBehind(slot);
        Push(sample, AtSlot(slot), slot, kept);
    }

    void Push(T sample, Entry* place, std::size_t slot, std::size_t kept) noexcept {
        *place = {sample, nextArrival++};
        entries = kept + 1;
        next = place + 1;
        nextSlot = slot + 1;
    }

    void DropOldest() noexcept {
        --entries;
        ++first;
        ++firstSlot;
        if (firstSlot % blockLength == 0) [[unlikely]]
            StartNextBlock();
    }

    [[gnu::noinline]] void StartNextBlock() noexcept {
        firstSlot = Wrap(firstSlot);
        first = AtSlot(firstSlot);
        PrefetchBehind(firstSlot);
    }

    /// A long wedge does not stay in the processor's caches: its next block is fetched one block ahead.
    void PrefetchBehind(std::size_t blockStart) const noexcept {
        __builtin_prefetch(AtSlot(Wrap(blockStart + blockLength)));
    }

    [[gnu::cold]] void Extend() {
        blocks.push_back(std::make_unique_for_overwrite<Block>());
        capacity += blockLength;
        first = AtSlot(firstSlot);
    }

    Entry* first = nullptr;
    Entry* next = nullptr; ///< after the newest entry, perhaps at the end of its block
    std::size_t firstSlot = 0;
    std::size_t nextSlot = 0;
    std::size_t entries = 0;
    UInt64 held = 0;
    UInt32 nextArrival = 0;
    std::size_t capacity = 0;
    std::vector<std::unique_ptr<Block>> blocks;
};

} // namespace Velmarosk::Operation
