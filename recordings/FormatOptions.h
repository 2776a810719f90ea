/// What plans and command lines say about the form of a recording.
#pragma once

#include "engine/Engine.h"
#include "recordings/CsvFormat.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vel::Recordings {

/// An option that is not given is empty. The names are the keys of the plan's table [recording], and the options of a
/// command line.
struct FormatOptions {
    std::optional<std::string> separator = {}; ///< one character, or "tab"
    std::optional<bool> decimal_comma = {};
    std::optional<std::string> thousands = {};
    std::optional<std::vector<std::string>> missing = {};
    std::optional<std::int64_t> skip = {};
    std::optional<bool> units_row = {};
    std::optional<std::string> on_bad_cell = {}; ///< "error" or "missing"
    std::optional<std::string> on_no_value = {}; ///< "error" or "missing"
};

/// The format that a plan and a command line give; the command line overrides the plan. Throws Error for what is not a
/// format.
CsvFormat MakeFormat(const FormatOptions& commandLine, const Engine::Plan& plan);

} // namespace Vel::Recordings
