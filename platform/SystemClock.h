/// The system's date and time.
#pragma once

#include "platform/FileTime.h"

#include <chrono>

namespace Velmarosk::Platform {

/// The coordinated universal time now, to the millisecond.
SYSTEMTIME GetSystemTime() noexcept;

/// The local wall clock now, to the millisecond, in the time zone of the process, daylight saving included. A process
/// that changes its TZ must call tzset.
SYSTEMTIME GetLocalTime() noexcept;

using Instant = std::chrono::sys_time<std::chrono::milliseconds>;

/// What GetSystemTime answers at an instant; all zero before 1601.
SYSTEMTIME SystemTimeAt(Instant instant) noexcept;

/// What GetLocalTime answers at an instant.
SYSTEMTIME LocalTimeAt(Instant instant) noexcept;

} // namespace Velmarosk::Platform
