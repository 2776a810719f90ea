#include "platform/SystemClock.h"

#include <algorithm>
#include <ctime>

namespace Velmarosk::Platform {

namespace {

using namespace std::chrono;

Instant Now() noexcept { return floor<milliseconds>(system_clock::now()); }

} // namespace

SYSTEMTIME GetSystemTime() noexcept { return SystemTimeAt(Now()); }

SYSTEMTIME GetLocalTime() noexcept { return LocalTimeAt(Now()); }

SYSTEMTIME SystemTimeAt(Instant instant) noexcept {
    constexpr std::int64_t fileTicksPerMillisecond = 10'000;
    const milliseconds sinceFileEpoch = instant - sys_days(1601y / January / 1);
    SYSTEMTIME result{};
    FileTimeToSystemTime(static_cast<std::uint64_t>(sinceFileEpoch.count() * fileTicksPerMillisecond), result);
    return result;
}

SYSTEMTIME LocalTimeAt(Instant instant) noexcept {
    const auto second = floor<seconds>(instant);
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
        .wSecond = static_cast<std::uint16_t>(std::min(local.tm_sec, 59)), // zones that count leap seconds know a 60
        .wMilliseconds = static_cast<std::uint16_t>((instant - second).count()),
    };
}

} // namespace Velmarosk::Platform
