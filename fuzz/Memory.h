/// When an operation may still take memory: a plain account of what its window or delay line holds.
#pragma once

#include "checks/Subject.h"

namespace VelFuzz {

/// The samples that a delay line, the window of an extreme or that of a mean holds. Only a sample that lets it hold more
/// than ever before may take memory. Other operations hold nothing.
class Memory {
public:
    explicit Memory(const VelChecks::Row& row);

    void Initialize(const Velreplay::ArgumentList& parameters);
    void Reset();

    /// Takes a sample that has a value. Whether it may need memory.
    bool Take(VelChecks::SampleBits sample);

private:
    enum class Kind { None, Line, Extreme, Mean };

    void ReadBounds(const Velreplay::Argument& lower, const Velreplay::Argument& upper);
    bool TakeInLine();
    bool TakeInWindow();
    bool TakeInMean();
    bool Hold();

    Kind kind = Kind::None;
    char letter;
    bool hasLimit = false; ///< "Average", which takes more parameters than "Statistics"
    std::uint32_t length = 0;
    VelChecks::SampleBits lowerBound = 0;
    VelChecks::SampleBits upperBound = 0;
    std::uint64_t held = 0;
    std::uint64_t mostHeld = 0;
    std::uint64_t counted = 0; ///< by the mean
    bool isFull = false;       ///< the window of an extreme
};

} // namespace VelFuzz
