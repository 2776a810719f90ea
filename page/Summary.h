/// What a run tells at its end, as text: what became of the samples, and what the user may not expect.
#pragma once

#include "engine/Engine.h"
#include "recordings/CsvReader.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vel::Page {

/// The computations that are told about: not those that are but a step on the way to others.
std::vector<std::size_t> OuterComputations(const Engine::Run& run);

/// Rows, time if known, and how many samples of each channel were computed, without value and refused.
std::string SummaryText(const Engine::Run& run, std::uint64_t rows, std::optional<double> seconds);

/// Those of the run and of the recording.
std::vector<Engine::Warning> WarningsOf(const Engine::Run& run, const Recordings::CsvReader& recording);
/// A line for each; empty if there are none.
std::string WarningsText(const std::vector<Engine::Warning>& warnings, const Recordings::CsvReader::BadCells& badCells);

} // namespace Vel::Page
