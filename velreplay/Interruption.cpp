#include "velreplay/Interruption.h"

#include <csignal>

namespace Velreplay {

namespace {

volatile std::sig_atomic_t isInterrupted = 0;

} // namespace

void Interrupt(int signal) {
    if (isInterrupted != 0) { // and the replay still waits, for a reader that does not read: end at once
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
    isInterrupted = 1;
}
bool IsInterrupted() { return isInterrupted != 0; }

} // namespace Velreplay
