#include "velreplay/Interruption.h"

#include <csignal>

namespace Velreplay {

namespace {

volatile std::sig_atomic_t isInterrupted = 0;

} // namespace

void Interrupt(int) { isInterrupted = 1; }
bool IsInterrupted() { return isInterrupted != 0; }

} // namespace Velreplay
