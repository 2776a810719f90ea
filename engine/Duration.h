/// Durations as plans say them: "10 s", "250 ms".
#pragma once

#include "engine/Engine.h"
#include "vocabulary/Vocabulary.h"

#include <optional>
#include <string>
#include <string_view>

namespace Vel::Engine {

/// A number with us, ms, s, min, h or d behind it; nothing for any other text.
std::optional<Duration> ParseDuration(std::string_view text);

extern const char* const durationHint; ///< a remedy

/// How many rows a duration is. Throws Error, which names the owner of the duration, if that is no whole number, or if
/// nothing says how far rows are apart.
std::uint64_t RowsIn(const Duration& duration, std::optional<double> period, const std::string& place,
                     const std::string& owner);

/// For how many rows a sample shall stand: a number of rows or a duration.
std::uint64_t HoldRows(const Value& hold, std::optional<double> period, const std::string& place);

/// Puts numbers in the place of durations, in the unit of their parameters, and gives the parameters that tell the time
/// from row to row the one that there is. Throws Error for durations of parameters that are no times.
void Complete(ParametersByName& parameters, const Operation& operation, std::optional<double> period,
              const std::string& place);

} // namespace Vel::Engine
