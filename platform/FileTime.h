/// Calendar time and its count since 1601. Conversions only: nothing here asks the operating system.
#pragma once

#include <cstdint>

namespace Velmarosk::Platform {

/// A date and time of day in the Gregorian calendar, in no particular time zone.
struct SYSTEMTIME {
    std::uint16_t wYear;
    std::uint16_t wMonth;     ///< from 1
    std::uint16_t wDayOfWeek; ///< from 0, Sunday
    std::uint16_t wDay;       ///< from 1
    std::uint16_t wHour;
    std::uint16_t wMinute;
    std::uint16_t wSecond;
    std::uint16_t wMilliseconds;
};

/// Counts in units of 100 ns from 1601-01-01 00:00:00. Returns false and leaves the file time alone if the year is not
/// one from 1601 to 30827 or another field is out of range. Ignores the day of the week.
bool SystemTimeToFileTime(const SYSTEMTIME& systemTime, std::uint64_t& fileTime) noexcept;

/// Returns false and leaves the system time alone from 0x8000000000000000 up. Cuts off fractions of a millisecond.
bool FileTimeToSystemTime(std::uint64_t fileTime, SYSTEMTIME& systemTime) noexcept;

} // namespace Velmarosk::Platform
