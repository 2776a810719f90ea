#include "velreplay/Progress.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include <unistd.h>

namespace Velreplay {

namespace {

constexpr std::chrono::milliseconds interval{100};
constexpr std::uint64_t width = 50;

} // namespace

Progress::Progress(std::uint64_t itsSize) : size(itsSize), isShown(itsSize != 0 && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    if (isShown)
        std::fputs("\r\x1b[K", stderr);
}

void Progress::Show(std::uint64_t done) {
    const auto now = std::chrono::steady_clock::now();
    if (!isShown || now < next)
        return;
    next = now + interval;
    done = std::min(done, size); // the file may have grown
    const std::uint64_t filled = done * width / size;
    const std::string bar = std::string(filled, '#') + std::string(width - filled, '.');
    std::fprintf(stderr, "\r[%s] %3u %%", bar.c_str(), static_cast<unsigned>(done * 100 / size));
}

} // namespace Velreplay
