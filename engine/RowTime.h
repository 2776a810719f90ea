/// Checks that rows come at equal steps in time if the plan assumes so.
#pragma once

#include "engine/Engine.h"

#include <optional>

namespace Vel::Engine {

/// Checks the steps of the time input, if there is one and an operation relies on equal steps.
class RowTime {
public:
    explicit RowTime(const Plan& plan);

    /// Checks the rows of a block.
    void Look(std::span<const Column> inputs, std::size_t rows);
    std::optional<Warning> FindWarning() const;

private:
    void Look(double time);

    std::string user; ///< a channel that relies on equal steps
    std::string inputName;
    std::optional<std::size_t> input; ///< empty if there is nothing to check
    AnySample noValue;
    std::optional<double> before;
    std::uint64_t rowsSince = 0; ///< rows since the last row with a time
    double firstStep = 0;
    double least = 0;
    double most = 0;
    std::uint64_t row = 0;
    std::uint64_t firstIrregular = 0;
    std::uint64_t irregular = 0;
};

} // namespace Vel::Engine
