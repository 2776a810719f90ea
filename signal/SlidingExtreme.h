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

/// The order of a smallest. Of equal floating samples the oldest shows, which the sign of a zero makes visible, and so
/// a newer one does not displace it. Equal integers cannot be told apart, and the newest alone is kept.
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

/// The order of a largest. Of equal samples the newest shows.
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
/// extreme, and those that a new sample displaces stand at the end. For most data they stand in the newest block, where
/// they are looked at one by one; a halving search finds the rest, so that a sample costs logarithmic work at most and
/// constant work on average, for any data.
///
/// The entries stand in a ring of blocks, which Append extends so that all samples held could be entries. Nothing else
/// takes memory, and the blocks stay until the end. One array that doubles would be shorter by little, but copies: for
/// a window of 100000 one sample took 0.4 to 0.6 ms while it filled, with blocks none took more than 7 us.
///
/// NaNs are held like other samples and never become an entry.
template <class TOrder, Sample T>
class SlidingExtreme {
public:
    UInt64 Held() const noexcept { return held; }
    /// False if nothing but NaNs is held.
    bool HasExtreme() const noexcept { return IntegerSample<T> || entries != 0; }
    T Extreme() const noexcept { return first->sample; }

    /// Holds one more sample. Not to be called after Replace until Clear.
    void Append(T sample) {
        if (held + 1 >= capacity && capacity < maxEntries) // for Replace there is one entry more for a moment
            Extend();
        ++held;
        Enter(sample);
    }

    /// The oldest sample leaves and another one enters. There must be one.
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
        /// When it came, counted in samples. It may wrap, as fewer than 2^32 are held while samples leave.
        UInt32 arrival;
    };
    using Block = std::array<Entry, blockLength>;

    // Slots are counted over all blocks, entries from the oldest on.

    Entry* AtSlot(std::size_t slot) const noexcept { return &(*blocks[slot / blockLength])[slot % blockLength]; }
    std::size_t Wrap(std::size_t slot) const noexcept { return slot < capacity ? slot : slot - capacity; }
    bool IsDisplaced(std::size_t entry, T sample) const noexcept {
        return TOrder::Displaces(sample, AtSlot(Wrap(firstSlot + entry))->sample);
    }

    /// Cuts entries in the block of the newest one. What lies behind its start is left to EnterSlowly.
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

    /// Keeps some of the oldest entries, most often all of these.
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

    /// A long wedge does not stay in the processor's caches: its next block is fetched a block ahead of its use.
    void PrefetchBehind(std::size_t blockStart) const noexcept {
        __builtin_prefetch(AtSlot(Wrap(blockStart + blockLength)));
    }

    [[gnu::cold]] void Extend() {
        blocks.push_back(std::make_unique_for_overwrite<Block>());
        capacity += blockLength;
        first = AtSlot(firstSlot);
    }

    Entry* first = nullptr;
    Entry* next = nullptr; ///< behind the newest entry, perhaps at the end of its block
    std::size_t firstSlot = 0;
    std::size_t nextSlot = 0;
    std::size_t entries = 0;
    UInt64 held = 0;
    UInt32 nextArrival = 0;
    std::size_t capacity = 0;
    std::vector<std::unique_ptr<Block>> blocks;
};

} // namespace Velmarosk::Operation
