#include "platform/TickCount.h"

#include <ctime>

namespace Velmarosk::Platform {

std::uint32_t GetTickCount() noexcept {
    std::timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now); // cannot fail for this clock
    const auto seconds = static_cast<std::uint64_t>(now.tv_sec);
    const auto nanoseconds = static_cast<std::uint64_t>(now.tv_nsec);
    return static_cast<std::uint32_t>(seconds * 1000 + nanoseconds / 1'000'000);
}

} // namespace Velmarosk::Platform
