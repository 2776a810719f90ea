#include "Sequences.h"
#include "checks/FakePlatform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <limits>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

Step Clocks(const Velmarosk::Platform::SYSTEMTIME& systemTime, const Velmarosk::Platform::SYSTEMTIME& localTime) {
    return {[=](Rig&) {
        FakePlatform::systemTime = systemTime;
        FakePlatform::localTime = localTime;
    }};
}

TEST(Clock, SourcesCountSecondsFrom2000OnTheirOwnClock) {
    const Step now = Clocks({2026, 11, 0, 22, 21, 34, 56, 789}, {2026, 11, 1, 23, 3, 19, 56, 789});
    using namespace std::chrono;
    const std::chrono::seconds since2000 =
        sys_days(2026y / November / 22) - sys_days(2000y / January / 1) + 21h + 34min + 56s;
    const auto seconds = static_cast<double>(since2000.count());
    const double ticks = seconds * 1e7 + 7890000;
    const double eastward = 20700; // the local clock is 5:45 ahead
    RunSequences({
        Both("SystemTime", "D", now, In({}, ticks / 1e7)),
        Both("SystemTime", "F", now, In({}, static_cast<float>(ticks / 1e7))),
        Both("SystemTime", "Q", now, In({}, seconds), Clocks({2000, 1, 6, 1, 0, 0, 12, 900}, {}), In({}, 12)),
        Both("LocalTime", "D", now, In({}, (ticks + eastward * 1e7) / 1e7)),
        Both("LocalTime", "Q", now, In({}, seconds + eastward)),
        // A clock before 2000 counts down from 2^64 units of 100 ns.
        Both("SystemTime", "Q", Clocks({1999, 12, 5, 31, 23, 59, 59, 0}, {}), In({}, 1844674407369.)),
    });
}

TEST(Clock, ComponentsShowTheTimeOfTheValue) {
    const std::time_t time = 946684800 + 846020097; // from 1970 to 2000, and from there
    const std::tm fields = *std::gmtime(&time);
    RunSequences({
        Both("Hour", "QQ", In({0}, 0), In({3661}, 1), In({86399}, 23), In({846020097}, fields.tm_hour)),
        Both("Minute", "DD", In({3661}, 1), In({86399.5}, 59), In({846020097}, fields.tm_min)),
        Both("Second", "DD", In({0.999}, 0), In({3661}, 1), In({86399.5}, 59), In({-1}, 59),
             In({846020097.9}, fields.tm_sec)),
        // Multiplied in Float32: 3661 becomes 3660.9998848.
        Both("Hour", "FF", In({3661}, 1), In({86399}, 23), In({-1}, 23)),
        Both("Second", "FF", In({3661}, 0), In({61}, 1), In({-1}, 59)),
    });
}

TEST(Clock, ComponentsOfWhatIsNoTimeAreZero) {
    RunSequences({
        Plain("Hour", "DD", In({-1.3e10}, 0), In({1e13}, 0), In({nan}, 0), In({infinity}, 0), In({-infinity}, 0),
              In({1e300}, 0), In({-1}, 23)),
        Plain("Second", "FF", In({-2e10}, 0), In({9.2e11}, 0), In({nan}, 0), In({3e38}, 0)),
        // The ends of the range: 1601-01-01, and 30828-09-14 02:48:05.
        Plain("Minute", "DD", In({-12591158340}, 1), In({-12591158401}, 0), In({909746045284}, 48),
              In({909746045288}, 0)),
        // The unsigned product of the second wraps to a valid time.
        Plain("Second", "QQ", In({909746045286}, 0), In({1832083249000}, 29)),
        Aware("Second", "QQ", In({none}, 59)),
    });
}

} // namespace
