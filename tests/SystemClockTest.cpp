// The clocks of the system that the tests run on. On Windows a process keeps the time zone in which it was started, so
// there the program runs once for each zone.
#include "platform/SystemClock.h"
#include "VelOperation.hpp"
#include "platform/TickCount.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <tuple>

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

using namespace std::chrono;
// Names of Windows, too: those of the library come first.
using Velmarosk::Platform::FileTimeToSystemTime;
using Velmarosk::Platform::GetTickCount;
using Velmarosk::Platform::Instant;
using Velmarosk::Platform::LocalTimeAt;
using Velmarosk::Platform::MillisecondsSince;
using Velmarosk::Platform::SYSTEMTIME;
using Velmarosk::Platform::SystemTimeAt;
using Velmarosk::Platform::SystemTimeToFileTime;

constexpr std::int64_t unixTimeOf1601 = -11'644'473'600'000;

// Rules, which need no data base on the machine: Central Europe, New York, New Zealand, Nepal, Newfoundland.
constexpr const char* zones[] = {"CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0", "NZST-12NZDT,M9.5.0,M4.1.0/3",
                                 "<+0545>-5:45", "NST3:30NDT,M3.2.0,M11.1.0"};

#ifdef _WIN32

constexpr milliseconds tickStep{16};

/// False: the process is in another zone. It keeps the one in which it was started.
bool SetTimeZone(const char* rule) {
    const char* const own = std::getenv("TZ");
    return own != nullptr && std::string_view(own) == rule;
}

/// Since 1970 by the system's calendar, whatever the zone.
std::int64_t Milliseconds(const SYSTEMTIME& time) {
    const ::SYSTEMTIME fields{time.wYear, time.wMonth,  time.wDayOfWeek, time.wDay,
                              time.wHour, time.wMinute, time.wSecond,    time.wMilliseconds};
    FILETIME ticks{};
    ::SYSTEMTIME back{};
    EXPECT_TRUE(::SystemTimeToFileTime(&fields, &ticks) && ::FileTimeToSystemTime(&ticks, &back));
    EXPECT_EQ(back.wDayOfWeek, time.wDayOfWeek);
    const std::int64_t since1601 = std::int64_t{ticks.dwHighDateTime} << 32 | ticks.dwLowDateTime;
    return since1601 / 10'000 + unixTimeOf1601;
}

#else

constexpr milliseconds tickStep{1};

bool SetTimeZone(const char* rule) {
    setenv("TZ", rule, 1);
    tzset();
    return true;
}

/// Since 1970 by the C library's calendar, whatever the zone.
std::int64_t Milliseconds(const SYSTEMTIME& time) {
    std::tm fields{};
    fields.tm_year = time.wYear - 1900;
    fields.tm_mon = time.wMonth - 1;
    fields.tm_mday = time.wDay;
    fields.tm_hour = time.wHour;
    fields.tm_min = time.wMinute;
    fields.tm_sec = time.wSecond;
    const std::int64_t seconds = timegm(&fields);
    EXPECT_EQ(fields.tm_wday, time.wDayOfWeek);
    return seconds * 1000 + time.wMilliseconds;
}

#endif

std::int64_t MinutesFromUtc(Instant instant) {
    return (Milliseconds(LocalTimeAt(instant)) - instant.time_since_epoch().count()) / 60'000;
}

TEST(FileTime, FollowsTheSystemsCalendar) {
    constexpr std::uint64_t stride = 864'000'000'000 * 97 + 12'345'678'901; // 97 days and some
    for (std::uint64_t fileTime = 7; fileTime < std::uint64_t{1} << 63; fileTime += stride) {
        SYSTEMTIME time{};
        std::uint64_t back = 0;
        ASSERT_TRUE(FileTimeToSystemTime(fileTime, time));
        if (time.wYear <= 30827) { // Windows, too, converts back until then
            ASSERT_EQ(Milliseconds(time), unixTimeOf1601 + static_cast<std::int64_t>(fileTime / 10'000)) << fileTime;
        }
        time.wDayOfWeek = 99; // which is not looked at
        ASSERT_EQ(SystemTimeToFileTime(time, back), time.wYear <= 30827) << fileTime;
        ASSERT_EQ(back, time.wYear <= 30827 ? fileTime / 10'000 * 10'000 : 0);
    }
}

TEST(FileTime, FailureLeavesTheOutputAlone) {
    SYSTEMTIME time{1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_FALSE(FileTimeToSystemTime(std::uint64_t{1} << 63, time));
    EXPECT_FALSE(FileTimeToSystemTime(~std::uint64_t{0}, time));
    EXPECT_TRUE(time.wYear == 1 && time.wMonth == 2 && time.wDayOfWeek == 3 && time.wDay == 4 && time.wHour == 5);

    std::uint64_t fileTime = 5;
    constexpr SYSTEMTIME right{2000, 4, 0, 30, 23, 59, 59, 999};
    // clang-format off
    // 257 would be 1 in a byte.
    for (const auto& [field, value] : std::initializer_list<std::pair<std::uint16_t SYSTEMTIME::*, std::uint16_t>>{
             {&SYSTEMTIME::wYear, 1600}, {&SYSTEMTIME::wYear, 30828}, {&SYSTEMTIME::wMonth, 0},
             {&SYSTEMTIME::wMonth, 13}, {&SYSTEMTIME::wMonth, 257}, {&SYSTEMTIME::wDay, 0}, {&SYSTEMTIME::wDay, 31},
             {&SYSTEMTIME::wDay, 257}, {&SYSTEMTIME::wHour, 24}, {&SYSTEMTIME::wMinute, 60}, {&SYSTEMTIME::wSecond, 60},
             {&SYSTEMTIME::wMilliseconds, 1000}}) {
        // clang-format on
        SYSTEMTIME wrong = right;
        wrong.*field = value;
        EXPECT_FALSE(SystemTimeToFileTime(wrong, fileTime)) << value;
    }
    EXPECT_FALSE(SystemTimeToFileTime({1900, 2, 0, 29, 0, 0, 0, 0}, fileTime));
    EXPECT_EQ(fileTime, 5u);
    EXPECT_TRUE(SystemTimeToFileTime(right, fileTime));
}

TEST(SystemClock, LocalTimeChangesWithDaylightSaving) {
    int changes = 0;
    // clang-format off
    for (const auto& [zone, at, before, after] : std::initializer_list<std::tuple<int, Instant, int, int>>{
             {0, sys_days(2026y / March / 29) + 1h, 60, 120}, {0, sys_days(2026y / October / 25) + 1h, 120, 60},
             {1, sys_days(2026y / March / 8) + 7h, -300, -240}, {2, sys_days(2026y / April / 4) + 14h, 780, 720},
             {3, sys_days(2026y / June / 1) + 0h, 345, 345}, {4, sys_days(2026y / March / 8) + 330min, -210, -150},
             {3, sys_days(1969y / July / 1) + 7h, 345, 345}}) {
        // clang-format on
        if (!SetTimeZone(zones[zone]))
            continue;
        ++changes;
        EXPECT_EQ(MinutesFromUtc(at - 1ms), before) << zones[zone];
        EXPECT_EQ(MinutesFromUtc(at), after) << zones[zone];
        EXPECT_EQ(Milliseconds(SystemTimeAt(at - 1ms)), (at - 1ms).time_since_epoch().count());
    }
    EXPECT_GT(changes, 0) << "the process is in none of the zones";
}

TEST(SystemClock, OperationsShowNow) {
    constexpr std::int64_t unixTimeOf2000 = 946'684'800'000;
    const auto now = [] { return floor<milliseconds>(system_clock::now()); };
    for (const char* zone : zones) {
        if (!SetTimeZone(zone))
            continue;
        Vel::Channel<double> utc, local;
        auto systemTime = Vel::OperationHandle::Create(false, "SystemTime", utc);
        auto localTime = Vel::OperationHandle::Create(false, "LocalTime", local);
        const Instant before = now();
        EXPECT_TRUE(systemTime.Execute() && localTime.Execute());
        const Instant after = now();
        const auto instant = [](double seconds) {
            return Instant(milliseconds(std::llround(seconds * 1000) + unixTimeOf2000));
        };
        EXPECT_TRUE(before <= instant(utc.Get()) && instant(utc.Get()) <= after);
        const Instant unzoned = instant(local.Get()) - minutes(MinutesFromUtc(before));
        EXPECT_TRUE(before <= unzoned && unzoned <= after) << zone;
    }
}

TEST(TickCount, CountsMilliseconds) {
    const auto begin = steady_clock::now();
    const std::uint32_t tick = GetTickCount();
    while (steady_clock::now() - begin < 4 * tickStep) {
    }
    EXPECT_GE(milliseconds(MillisecondsSince(tick)), 3 * tickStep);
    EXPECT_LE(milliseconds(MillisecondsSince(tick)), steady_clock::now() - begin + tickStep);
}

} // namespace
