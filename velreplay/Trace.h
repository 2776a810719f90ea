// Why a cell is what it is.
#pragma once

#include "engine/Engine.h"

namespace Velreplay {

/// Shows how a channel came to its sample of the last row, which must have been fed alone and with statuses: all that
/// it is computed from, operands first, with the samples, what each operation answered, and what became of it.
void ShowTrace(const Vel::Engine::Plan& plan, const Vel::Engine::Run& run, std::size_t channel, std::uint64_t row,
               std::uint64_t rowsSeen);

} // namespace Velreplay
