/// The samples of a delay line or of a mean's window, oldest first.
#pragma once

#include "core/SampleTypes.h"

#include <array>
#include <cstddef>

namespace Velmarosk::Operation {

/// A queue in a ring of small blocks. It allocates one block at a time, when its samples need it, and never moves a
/// sample. It keeps its blocks until it is destroyed: once it has held n samples, it needs no more memory for n
/// samples.
template <Sample T>
class BlockRing {
public:
    BlockRing() = default;
    BlockRing(const BlockRing&) = delete;
    BlockRing& operator=(const BlockRing&) = delete;
    [[gnu::noinline, gnu::cold]] ~BlockRing() {
        for (std::size_t i = 0; i < blocks; ++i) {
            const Block* const leaving = writeBlock;
            writeBlock = leaving->next;
            delete leaving;
        }
    }

    bool IsEmpty() const noexcept { return held == 0; }

    /// The ring must not be empty.
    T Oldest() const noexcept { return *oldest; }

    void Append(T sample) {
        if (held == reserved)
            Extend();
        ++held;
        Write(sample);
    }

    /// Removes the oldest sample and appends another one. The ring must not be empty.
    void Replace(T sample) noexcept {
        if (++oldest == oldestEnd) [[unlikely]]
            ReadFrom(oldestBlock->next);
        Write(sample);
    }

    void Clear() noexcept {
        held = 0;
        if (blocks == 0)
            return;
        WriteTo(writeBlock);
        ReadFrom(writeBlock);
    }

private:
    static constexpr std::size_t blockLength = 512 / sizeof(T);

    struct Block {
        Block* next;
        std::array<T, blockLength> samples;
    };

    void Write(T sample) noexcept {
        if (write == writeEnd) [[unlikely]]
            WriteTo(writeBlock->next);
        *write++ = sample;
    }

    void ReadFrom(Block* block) noexcept {
        oldestBlock = block;
        oldest = block->samples.data();
        oldestEnd = oldest + blockLength;
    }

    void WriteTo(Block* block) noexcept {
        writeBlock = block;
        write = block->samples.data();
        writeEnd = write + blockLength;
    }

    [[gnu::cold]] void Extend() {
        auto* const block = new Block;
        if (blocks++ == 0) {
            block->next = block;
            WriteTo(block);
            ReadFrom(block);
            reserved = 1;
        } else {
            block->next = writeBlock->next;
            writeBlock->next = block;
            reserved += blockLength;
        }
    }

    T* oldest = nullptr;
    T* oldestEnd = nullptr;
    T* write = nullptr; ///< where the next sample goes, or the end of the block
    T* writeEnd = nullptr;
    Block* oldestBlock = nullptr;
    Block* writeBlock = nullptr;
    std::size_t held = 0;
    /// This many samples never wrap into the block of the oldest, wherever in its block that is.
    std::size_t reserved = 0;
    std::size_t blocks = 0;
};

} // namespace Velmarosk::Operation
