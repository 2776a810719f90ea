// What a run tells at its end: what became of the samples, and what the user may not expect.
#pragma once

#include "engine/Engine.h"
#include "recordings/CsvReader.h"

#include <cstdint>
#include <vector>

namespace Velreplay {

/// The computations that are told about: not those that are but a step on the way to others.
std::vector<std::size_t> OuterComputations(const Vel::Engine::Run& run);

/// Rows, time, and how many samples of each channel were computed, without value and refused.
void Summarize(const Vel::Engine::Run& run, std::uint64_t rows, double seconds);

/// Those of the run and of the recording.
std::vector<Vel::Engine::Warning> WarningsOf(const Vel::Engine::Run& run, const Vel::Recordings::CsvReader& recording);
void Show(const std::vector<Vel::Engine::Warning>& warnings, const Vel::Recordings::CsvReader::BadCells& badCells);

} // namespace Velreplay
