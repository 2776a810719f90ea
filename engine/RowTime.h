/// Whether rows come at equal times, where a plan takes that for granted.
#pragma once

#include "engine/Engine.h"

#include <optional>

namespace Vel::Engine {

/// Looks at the steps of the input that tells the time, if there is one and an operation counts on equal steps.
class RowTime {
public:
    explicit RowTime(const Plan& plan);

    /// The rows of a block.
    void Look(std::span<const Column> inputs, std::size_t rows);
    std::optional<Warning> FindWarning() const;

private:
    void Look(double time);

    std::string user; ///< a channel that counts on equal steps
    std::string inputName;
    std::optional<std::size_t> input; ///< nothing: there is nothing to look at
    AnySample noValue;
    std::optional<double> before;
    std::uint64_t rowsSince = 0; ///< the time before
    double firstStep = 0;
    double least = 0;
    double most = 0;
    std::uint64_t row = 0;
    std::uint64_t firstIrregular = 0;
    std::uint64_t irregular = 0;
};

} // namespace Vel::Engine
