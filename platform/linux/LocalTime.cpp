#include "platform/SystemClock.h"

#include <algorithm>
#include <ctime>

namespace Velmarosk::Platform {

SYSTEMTIME LocalTimeAt(Instant instant) noexcept {
    const auto second = std::chrono::floor<std::chrono::seconds>(instant);
    const std::time_t time = second.time_since_epoch().count();
    std::tm local{};
    localtime_r(&time, &local);
    return {
        .wYear = static_cast<std::uint16_t>(local.tm_year + 1900),
        .wMonth = static_cast<std::uint16_t>(local.tm_mon + 1),
        .wDayOfWeek = static_cast<std::uint16_t>(local.tm_wday),
        .wDay = static_cast<std::uint16_t>(local.tm_mday),
        .wHour = static_cast<std::uint16_t>(local.tm_hour),
        .wMinute = static_cast<std::uint16_t>(local.tm_min),
        .wSecond = static_cast<std::uint16_t>(std::min(local.tm_sec, 59)), // zones with leap seconds have a 60
        .wMilliseconds = static_cast<std::uint16_t>((instant - second).count()),
    };
}

} // namespace Velmarosk::Platform
