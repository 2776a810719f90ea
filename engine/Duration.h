/// Durations as plans write them: "10 s", "250 ms".
#pragma once

#include "engine/Engine.h"
#include "vocabulary/Vocabulary.h"

#include <optional>
#include <string>
#include <string_view>

namespace Vel::Engine {

/// Parses a number followed by us, ms, s, min, h or d. Empty for any other text.
std::optional<Duration> ParseDuration(std::string_view text);

extern const char* const durationHint; ///< a remedy

/// The number of rows in a duration. Throws Error, which names the owner of the duration, if that is not a whole number
/// or if the plan has no sample period.
std::uint64_t RowsIn(const Duration& duration, std::optional<double> period, const std::string& place,
                     const std::string& owner);

/// The number of rows to hold a sample for. `hold` is a number of rows or a duration.
std::uint64_t HoldRows(const Value& hold, std::optional<double> period, const std::string& place);

/// Replaces durations with numbers in the unit of their parameters, and sets sample period or sample rate from `period`
/// if they are not given. Throws Error for a duration given to a parameter that is not a time.
void Complete(ParametersByName& parameters, const Operation& operation, std::optional<double> period,
              const std::string& place);

} // namespace Vel::Engine
