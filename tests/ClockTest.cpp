#include "FakePlatform.h"
#include "Sequences.h"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr std::time_t unixTimeOf2000 = 946684800;

Step Clocks(const Velmarosk::Platform::SYSTEMTIME& systemTime, const Velmarosk::Platform::SYSTEMTIME& localTime) {
    return {[=](Rig&) {
        FakePlatform::systemTime = systemTime;
        FakePlatform::localTime = localTime;
    }};
}

// The tables are packed by hand.
// clang-format off

TEST(Clock, SourcesCountSecondsFrom2000OnTheirOwnClock) {
    const Step now = Clocks({2026, 11, 0, 22, 21, 34, 56, 789}, {2026, 11, 1, 23, 3, 19, 56, 789});
    std::tm fields{};
    fields.tm_year = 126, fields.tm_mon = 10, fields.tm_mday = 22;
    fields.tm_hour = 21, fields.tm_min = 34, fields.tm_sec = 56;
    const auto seconds = static_cast<double>(timegm(&fields) - unixTimeOf2000);
    const double ticks = seconds * 1e7 + 7890000;
    const double eastward = 20700; // the local clock is 5:45 ahead
    RunInBothForms({
        {"SystemTime", "D", plain, {now, In({}, Is(ticks / 1e7))}},
        {"SystemTime", "F", plain, {now, In({}, Is(static_cast<float>(ticks / 1e7)))}},
        {"SystemTime", "Q", plain, {now, In({}, Is(seconds)), Clocks({2000, 1, 6, 1, 0, 0, 12, 900}, {}),
            In({}, Is(12))}},
        {"LocalTime", "D", plain, {now, In({}, Is((ticks + eastward * 1e7) / 1e7))}},
        {"LocalTime", "Q", plain, {now, In({}, Is(seconds + eastward))}},
        // A clock before 2000 counts down from 2^64 units of 100 ns.
        {"SystemTime", "Q", plain, {Clocks({1999, 12, 5, 31, 23, 59, 59, 0}, {}), In({}, Is(1844674407369.))}},
    });
}

TEST(Clock, ComponentsShowTheTimeOfTheValue) {
    const std::time_t time = unixTimeOf2000 + 846020097;
    const std::tm fields = *std::gmtime(&time);
    RunInBothForms({
        {"Hour", "QQ", plain, {In({0}, Is(0)), In({3661}, Is(1)), In({86399}, Is(23)),
            In({846020097}, Is(fields.tm_hour))}},
        {"Minute", "DD", plain, {In({3661}, Is(1)), In({86399.5}, Is(59)), In({846020097}, Is(fields.tm_min))}},
        {"Second", "DD", plain, {In({0.999}, Is(0)), In({3661}, Is(1)), In({86399.5}, Is(59)), In({-1}, Is(59)),
            In({846020097.9}, Is(fields.tm_sec))}},
        // Multiplied in Float32: 3661 becomes 3660.9998848.
        {"Hour", "FF", plain, {In({3661}, Is(1)), In({86399}, Is(23)), In({-1}, Is(23))}},
        {"Second", "FF", plain, {In({3661}, Is(0)), In({61}, Is(1)), In({-1}, Is(59))}},
    });
}

TEST(Clock, ComponentsOfWhatIsNoTimeAreZero) {
    RunSequences({
        {"Hour", "DD", plain, {In({-1.3e10}, Is(0)), In({1e13}, Is(0)), In({nan}, Is(0)), In({infinity}, Is(0)),
            In({-infinity}, Is(0)), In({1e300}, Is(0)), In({-1}, Is(23))}},
        {"Second", "FF", plain, {In({-2e10}, Is(0)), In({9.2e11}, Is(0)), In({nan}, Is(0)), In({3e38}, Is(0))}},
        // The ends of the range: 1601-01-01, and 30828-09-14 02:48:05.
        {"Minute", "DD", plain, {In({-12591158340}, Is(1)), In({-12591158401}, Is(0)), In({909746045284}, Is(48)),
            In({909746045288}, Is(0))}},
        // The unsigned product of the second wraps to a valid time.
        {"Second", "QQ", plain, {In({909746045286}, Is(0)), In({1832083249000}, Is(29))}},
        {"Second", "QQ", aware, {In({none}, Is(59))}},
    });
}

// clang-format on

} // namespace
