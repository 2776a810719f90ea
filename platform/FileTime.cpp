#include "platform/FileTime.h"

#include <chrono>

namespace Velmarosk::Platform {

namespace {

using namespace std::chrono;

using FileTicks = duration<std::int64_t, std::ratio<1, 10'000'000>>;

constexpr sys_days fileEpoch = 1601y / January / 1;
constexpr std::uint16_t firstYear = 1601;
constexpr std::uint16_t lastYear = 30827;
constexpr std::uint64_t firstInvalidFileTime = std::uint64_t{1} << 63;

constexpr bool IsValid(const SYSTEMTIME& time) noexcept {
    const bool isInRange = time.wYear >= firstYear && time.wYear <= lastYear && time.wMonth <= 12 && time.wDay <= 31 &&
                           time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
    return isInRange && (year{time.wYear} / month{time.wMonth} / day{time.wDay}).ok();
}

} // namespace

bool SystemTimeToFileTime(const SYSTEMTIME& systemTime, std::uint64_t& fileTime) noexcept {
    if (!IsValid(systemTime))
        return false;
    const sys_days date = year{systemTime.wYear} / month{systemTime.wMonth} / day{systemTime.wDay};
    const FileTicks ticks = date - fileEpoch + hours{systemTime.wHour} + minutes{systemTime.wMinute} +
                            seconds{systemTime.wSecond} + milliseconds{systemTime.wMilliseconds};
    fileTime = static_cast<std::uint64_t>(ticks.count());
    return true;
}

bool FileTimeToSystemTime(std::uint64_t fileTime, SYSTEMTIME& systemTime) noexcept {
    if (fileTime >= firstInvalidFileTime)
        return false;
    const FileTicks ticks(static_cast<std::int64_t>(fileTime));
    const days wholeDays = floor<days>(ticks);
    const year_month_day date(fileEpoch + wholeDays);
    const hh_mm_ss time(floor<milliseconds>(ticks - wholeDays));
    systemTime = {
        .wYear = static_cast<std::uint16_t>(static_cast<int>(date.year())),
        .wMonth = static_cast<std::uint16_t>(static_cast<unsigned>(date.month())),
        .wDayOfWeek = static_cast<std::uint16_t>(weekday(fileEpoch + wholeDays).c_encoding()),
        .wDay = static_cast<std::uint16_t>(static_cast<unsigned>(date.day())),
        .wHour = static_cast<std::uint16_t>(time.hours().count()),
        .wMinute = static_cast<std::uint16_t>(time.minutes().count()),
        .wSecond = static_cast<std::uint16_t>(time.seconds().count()),
        .wMilliseconds = static_cast<std::uint16_t>(time.subseconds().count()),
    };
    return true;
}

} // namespace Velmarosk::Platform
