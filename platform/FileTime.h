/// Calendar time and its count since 1601. Pure conversions: nothing here asks the operating system.
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

/// Counts in units of 100 ns from 1601-01-01 00:00:00. False, with the file time left alone, if the year is not one
/// from 1601 to 30827 or another field is out of its range; the day of the week is not looked at.
bool SystemTimeToFileTime(const SYSTEMTIME& systemTime, std::uint64_t& fileTime) noexcept;

/// False, with the system time left alone, from the file time 0x8000000000000000 on. What is below a millisecond is cut
/// off.
bool FileTimeToSystemTime(std::uint64_t fileTime, SYSTEMTIME& systemTime) noexcept;

} // namespace Velmarosk::Platform
