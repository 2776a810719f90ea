/// A plain account of what a delay line or a window holds.
#pragma once

#include "checks/Subject.h"

#include <deque>
#include <optional>

namespace VelFuzz {

/// The samples that a delay line, the window of an extreme or that of a mean holds. Of operations without any of these
/// it holds none. Tells when memory may be taken, and the results of the first two.
class Memory {
public:
    explicit Memory(const VelChecks::Row& row);

    bool Remembers() const { return kind != Kind::None; }
    void Initialize(const Vel::Engine::ArgumentList& parameters);
    void Reset();

    /// Whether a sample that has a value may need memory: if more are held with it than ever before.
    bool MayAllocate(VelChecks::SampleBits sample) const;

    /// Takes such a sample. The result, where it is known.
    std::optional<VelChecks::SampleBits> Take(VelChecks::SampleBits sample);

private:
    enum class Kind { None, Line, Smallest, Largest, Mean };
    enum class Action { Nothing, Count, Hold, Replace };

    Action ActionFor(VelChecks::SampleBits sample) const;
    Action ActionOfWindow() const;
    Action ActionOfMean() const;
    void ReadBounds(const Vel::Engine::Argument& lower, const Vel::Engine::Argument& upper);
    VelChecks::SampleBits Extreme() const;

    Kind kind = Kind::None;
    char letter;
    bool isAverage = false; ///< which takes any number of parameters from 3 on, "Statistics" exactly 3
    std::uint32_t length = 0;
    VelChecks::SampleBits initialValue = 0;
    VelChecks::SampleBits lowerBound = 0;
    VelChecks::SampleBits upperBound = 0;
    std::deque<VelChecks::SampleBits> held;
    std::size_t mostHeld = 0;
    std::uint64_t counted = 0; ///< by the mean
    bool isFull = false;       ///< the window of an extreme
};

} // namespace VelFuzz
