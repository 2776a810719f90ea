#include "velreplay/Interruption.h"

#include <csignal>
#include <ctime>

namespace Velreplay {

namespace {

volatile std::sig_atomic_t isInterrupted = 0;
volatile std::sig_atomic_t firstSecond = 0;

/// Programs that end others often send a signal twice within a moment.
constexpr std::sig_atomic_t secondsOfOneWish = 2;

std::sig_atomic_t Now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time); // which a signal handler may call
    return static_cast<std::sig_atomic_t>(time.tv_sec);
}

} // namespace

void Interrupt(int signal) {
    if (isInterrupted == 0) {
        firstSecond = Now();
        isInterrupted = 1;
    } else if (Now() - firstSecond >= secondsOfOneWish) { // it still waits, for a reader that does not read
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}
bool IsInterrupted() { return isInterrupted != 0; }

} // namespace Velreplay
