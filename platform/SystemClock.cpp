#include "platform/SystemClock.h"

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

} // namespace Velmarosk::Platform
