/// The smallest or the largest of the last samples of a channel.
#pragma once

#include "core/SampleTypes.h"

#include <array>
#include <bit>
#include <cstddef>
#include <limits>
#include <memory>
#include <utility>

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

/// Pointers to blocks by number, counted from `begin`. The table grows by parts, each as long as all before it, and so
/// never moves a pointer.
template <class TBlock>
class BlockTable {
public:
    static constexpr std::size_t begin = 8; // a power of 2

    BlockTable() = default;
    BlockTable(const BlockTable&) = delete;
    BlockTable& operator=(const BlockTable&) = delete;
    [[gnu::noinline, gnu::cold]] ~BlockTable() {
        for (std::size_t number = begin; number < end; ++number)
            delete At(number);
    }

    std::size_t End() const noexcept { return end; }
    std::size_t Count() const noexcept { return end - begin; }
    TBlock* At(std::size_t number) const noexcept { return parts[PartOf(number)][number]; }

    void Append(std::unique_ptr<TBlock> block) {
        auto& part = parts[PartOf(end)];
        if (!part) // numbers index it as they are, so that its first half stays unused
            part = std::make_unique_for_overwrite<TBlock*[]>(2 * end);
        part[end++] = block.release();
    }

private:
    static constexpr std::size_t maxParts = 40;

    /// The place of the highest bit. A number is never 0; the compiler sees it from the 1.
    static std::size_t PartOf(std::size_t number) noexcept {
        return static_cast<std::size_t>(std::countl_zero(number | 1) ^ 63);
    }

    std::size_t end = begin;
    std::array<std::unique_ptr<TBlock*[]>, maxParts> parts;
};

/// A wedge: of the samples held only those that can still become the extreme, oldest first. The first entry is the
/// extreme, and those that a new sample displaces stand at the end. A look at the newest entries finds where to cut for
/// most data; a halving search finds it for the rest, so that a sample costs logarithmic work at most and constant work
/// on average, for any data.
///
/// The entries stand in a ring of blocks, which Append extends so that all samples held could be entries. Nothing else
/// takes memory, and the blocks stay until the end.
///
/// NaNs are held like other samples and never become an entry.
template <class TOrder, Sample T>
class SlidingExtreme {
public:
    SlidingExtreme() = default;
    SlidingExtreme(const SlidingExtreme&) = delete;
    SlidingExtreme& operator=(const SlidingExtreme&) = delete;

    UInt64 Held() const noexcept { return held; }
    /// False if nothing but NaNs is held.
    bool HasExtreme() const noexcept { return IntegerSample<T> || entries != 0; }
    T Extreme() const noexcept { return first->values[firstSlot]; }

    /// Holds one more sample.
    void Append(T sample) {
        if (held >= blocks.Count() * blockLength && held < maxEntries)
            Extend();
        ++held;
        if (!TryEnter(sample))
            EnterSlowly(sample);
    }

    /// Lets the oldest sample leave, for another one to enter. There must be one.
    void DropOldest() noexcept {
        const auto leaving = static_cast<UInt32>(nextArrival - held);
        if (entries != 0 && first->arrivals[firstSlot] == leaving)
            DropFirst();
    }

    /// Makes the sample the newest one held. False, with nothing done, if a look at the newest entries is not enough.
    bool TryEnter(T sample) noexcept {
        if (IsNaN(sample))
            return false;
        Block* block = newest;
        UInt32 slot = newestSlot;
        std::size_t kept = entries;
        const std::size_t notLookedAt = kept > newestLooks ? kept - newestLooks : 0;
        for (;;) {
            if (kept == notLookedAt) {
                if (kept != 0)
                    return false;
                break;
            }
            if (!TOrder::Displaces(sample, block->values[slot]))
                break;
            --kept;
            if (slot == 0) {
                block = block->previous;
                slot = blockLength;
            }
            --slot;
        }
        Push(sample, block, slot, kept);
        return true;
    }

    /// The same for a sample that TryEnter has left.
    [[gnu::noinline]] void EnterSlowly(T sample) noexcept {
        if (!IsNaN(sample)) {
            CutBySearch(sample);
            Push(sample, newest, newestSlot, entries);
        } else {
            ++nextArrival;
        }
    }

    void Clear() noexcept {
        held = 0;
        if (blocks.Count() != 0)
            StartAt(blocks.At(blocks.begin));
    }

private:
    static constexpr UInt32 blockLength = 64;
    static constexpr std::size_t newestLooks = 4;
    /// Entries of an integer type all differ.
    static constexpr UInt64 maxEntries =
        sizeof(T) < sizeof(UInt32) ? UInt64{1} << (8 * sizeof(T)) : std::numeric_limits<UInt64>::max();

    struct Block {
        Block* previous;
        Block* next;
        std::size_t number;
        std::array<T, blockLength> values;
        /// When each sample came, counted in samples. It may wrap, as fewer than 2^32 are held while samples leave.
        std::array<UInt32, blockLength> arrivals;
    };

    /// A long wedge does not stay in the processor's caches: its next block is fetched a block ahead of its use.
    static void Prefetch(const Block* block) noexcept {
        __builtin_prefetch(block);
        __builtin_prefetch(block->arrivals.data());
    }

    /// Behind the last of the entries that are kept.
    void Push(T sample, Block* lastBlock, UInt32 lastSlot, std::size_t kept) noexcept {
        Block* block = lastBlock;
        UInt32 slot = lastSlot + 1;
        if (slot == blockLength) [[unlikely]] {
            block = block->next;
            slot = 0;
            Prefetch(block->next);
        }
        block->values[slot] = sample;
        block->arrivals[slot] = nextArrival++;
        newest = block;
        newestSlot = slot;
        entries = kept + 1;
    }

    /// Counts slots and blocks from the start of the first entry's block.
    void CutBySearch(T sample) noexcept {
        const std::size_t end = firstSlot + entries;
        // The cut is at or behind the start of block `low`, and before or at that of block `high`.
        std::size_t low = 0;
        std::size_t high = (end - 1) / blockLength + 1;
        const auto isCutBefore = [&](std::size_t block) {
            return TOrder::Displaces(sample, BlockAt(block)->values[0]);
        };
        // Most often it is in one of the newest two blocks; a search behind them is paid by the many entries cut.
        for (int looks = 0; looks < 2 && high - low > 1; ++looks) {
            if (isCutBefore(high - 1))
                --high;
            else
                low = high - 1;
        }
        while (high - low > 1) {
            const std::size_t middle = low + (high - low) / 2;
            if (isCutBefore(middle))
                high = middle;
            else
                low = middle;
        }

        newest = BlockAt(low);
        const std::size_t blockStart = low * blockLength;
        std::size_t lowSlot = low == 0 ? firstSlot : 0;
        std::size_t highSlot = end - blockStart < blockLength ? end - blockStart : blockLength;
        while (lowSlot < highSlot) {
            const std::size_t middle = (lowSlot + highSlot) / 2;
            if (TOrder::Displaces(sample, newest->values[middle]))
                highSlot = middle;
            else
                lowSlot = middle + 1;
        }
        entries = blockStart + lowSlot - firstSlot;
        newestSlot = static_cast<UInt32>(lowSlot) - 1; // wraps in front of the first slot, as in StartAt
    }

    Block* BlockAt(std::size_t distance) const noexcept {
        const std::size_t number = first->number + distance;
        return blocks.At(number < blocks.End() ? number : number - blocks.Count());
    }

    void DropFirst() noexcept {
        --entries;
        if (++firstSlot == blockLength) [[unlikely]] {
            first = first->next;
            firstSlot = 0;
            Prefetch(first->next);
        }
    }

    /// Samples are appended only while none has left, so that the entries begin at the start of the first block.
    [[gnu::cold]] void Extend() {
        auto added = std::make_unique_for_overwrite<Block>();
        Block* const block = added.get();
        block->number = blocks.End();
        blocks.Append(std::move(added));
        Block* const start = blocks.At(blocks.begin);
        block->next = start;
        block->previous = block == start ? block : start->previous;
        block->previous->next = block;
        start->previous = block;
        if (block == start)
            StartAt(block);
    }

    void StartAt(Block* block) noexcept {
        first = newest = block;
        firstSlot = 0;
        newestSlot = 0u - 1; // the first entry is the one behind
        entries = 0;
    }

    Block* first = nullptr;
    Block* newest = nullptr;
    UInt32 firstSlot = 0;
    UInt32 newestSlot = 0;
    UInt32 nextArrival = 0;
    std::size_t entries = 0;
    UInt64 held = 0;
    BlockTable<Block> blocks;
};

} // namespace Velmarosk::Operation
