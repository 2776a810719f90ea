#include "platform/SystemClock.h"

#include <windows.h>

namespace Velmarosk::Platform {

SYSTEMTIME LocalTimeAt(Instant instant) noexcept {
    const SYSTEMTIME utc = SystemTimeAt(instant);
    const ::SYSTEMTIME from{utc.wYear, utc.wMonth,  utc.wDayOfWeek, utc.wDay,
                            utc.wHour, utc.wMinute, utc.wSecond,    utc.wMilliseconds};
    ::SYSTEMTIME local{};
    SystemTimeToTzSpecificLocalTime(nullptr, &from, &local);
    return {local.wYear, local.wMonth,  local.wDayOfWeek, local.wDay,
            local.wHour, local.wMinute, local.wSecond,    local.wMilliseconds};
}

} // namespace Velmarosk::Platform
