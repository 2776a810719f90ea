// A progress bar on standard error, where a terminal watches.
#pragma once

#include <chrono>
#include <cstdint>

namespace Velreplay {

class Progress {
public:
    /// `size` is what is to be done, 0 if nobody knows.
    explicit Progress(std::uint64_t itsSize);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    /// Takes the bar away.
    ~Progress();

    void Show(std::uint64_t done);

private:
    std::uint64_t size;
    bool isShown;
    std::chrono::steady_clock::time_point next{};
};

} // namespace Velreplay
