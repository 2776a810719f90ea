#include "Sequences.h"
#include "checks/FakePlatform.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Validity, ValidComputesOnlyInItsAwareForm) {
    RunSequences({
        Plain("Valid", "WD", In({1}, refused), In({none}, refused)),
        Aware("Valid", "Wq", In({1}, 1), In({none}, 0), In({0}, 1)),
        Aware("Valid", "WF", In({-nan}, 0), In({std::numeric_limits<double>::infinity()}, 1)),
        Plain("Valid", "DDD", In({1, 2}, refused), In({none, none}, refused)),
        Aware("Valid", "WWW", In({none, 7}, 7), In({8, 7}, 8), In({8, none}, 8), In({none, none}, marker),
              In({8, absent}, 8)),
        Aware("Valid", "DDD", In({nan, -0.0}, -0.0), In({none, none}, marker)),
        // Without a marker the sample 0 counts as NoValue, and a NaN does not.
        Aware("Valid", "WB", In({0}, 0), In({1}, 1)).Markers({absent}),
        Aware("Valid", "WD", In({-0.0}, 0), In({nan}, 1)).Markers({absent}),
        Aware("Valid", "FFF", In({0, 0}, marker), In({0, 2}, 2)).Markers({absent, absent}),
        Aware("Valid", "DDD", In({nan, 5}, nan)).Markers({1e308, none}),
    });
}

TEST(Validity, IsNoValueWaitsOnTheTickCounter) {
    RunSequences({
        Both("IsNoValue", "Wl", With(0.5), At(1000), In({3}, 0), In({none}, 0), At(1500), In({none}, kept), At(1501),
             In({none}, 1), At(1502), In({none}, 1), In({3}, 0), In({none}, 0), At(2002), In({none}, kept), restart,
             At(9000), In({none}, 0), At(9501), In({none}, 1)),
        // Over the wrap of the counter.
        Both("IsNoValue", "WD", With(1.0), At(0xFFFFFF00), In({none}, 0), At(0xFFFFFF00 + 1000), In({none}, kept),
             At(0xFFFFFF00 + 1001), In({none}, 1)),
        Both("IsNoValue", "WF", With(), In({none}, 1), In({1}, 0), In({none}, 1)),
        Both("IsNoValue", "WF", With(0.0009, 5.0), In({none}, 1)), // no whole millisecond; the rest is ignored
        Both("IsNoValue", "WB", With(-1.0), At(0), In({none}, 0), At(4294966296), In({none}, kept), At(4294966297),
             In({none}, 1)),
        Both("IsNoValue", "WB", With(0.0), In({0}, 0), In({absent}, 0)).Markers({absent}),
        Both("IsNoValue", "WB", With(2147484.), At(0), In({none}, 0), At(2147483999), In({none}, kept), At(2147484001),
             In({none}, 1)), // more than 31 bits of milliseconds
        Both("IsNoValue", "WB", With(4294968.), At(0), In({none}, 0), At(705), In({none}, 1)), // of 2^32 + 704
    });
}

TEST(Validity, IsNoValueAsksTheTickCounterOnlyWhileItWaits) {
    FakePlatform::tickCountReads = 0;
    RunSequences({Plain("IsNoValue", "Wl", With(0.5), In({3}, 0), In({none}, 0), In({none}, kept), In({3}, 0)),
                  Plain("IsNoValue", "Wl", With(0.0), In({none}, 1), In({3}, 0))});
    EXPECT_EQ(FakePlatform::tickCountReads, 2);
}

TEST(Validity, IsNoValueWaitsOnATimeChannel) {
    RunSequences({
        Plain("IsNoValue", "WDD", With(2.0), In({none, 0}, 0), In({none, 1}, 0), In({none, 2}, 0), In({none, 3}, 1),
              In({1, 4}, 0), In({none, 6}, 0), In({none, 6.5}, 1), restart, In({none, 50}, 0), In({none, 53}, 1),
              In({none, nan}, 0)),
        Plain("IsNoValue", "WFF", With(0.1), In({1, 0}, 0), In({none, static_cast<double>(0.1f)}, 0),
              In({none, 0.2}, 1)),
        // Without a delay time is not read at all.
        Plain("IsNoValue", "WDD", With(), In({none, absent}, 1), In({1, absent}, 0)),
        Plain("IsNoValue", "WDD", With(nan), In({none, absent}, 1)),
        Plain("IsNoValue", "WDD", With(1.0), In({absent, 0}, 0), In({0, 9}, 0)).Markers({absent, none}),
        Aware("IsNoValue", "WDD", With(2.0), In({none, 0}, refused), restart, In({1, 5}, refused)),
    });
}

TEST(Validity, NoValueAlarmCountsSamples) {
    RunSequences({
        Aware("NoValueAlarm", "Ww", With(0.01, 30u), Times(3, {none}, 0), Times(9, {none}, 1), In({1}, 0),
              Times(3, {none}, 0), restart, Times(3, {none}, 0), In({none}, 1), restart, In({none}, 0)),
        Aware("NoValueAlarm", "WD", With(0.001, 0u), In({none}, 1), Init(With(1.0), false),
              Init(With(1.0, 1u, 1u), false), In({1}, 0), In({none}, 1)),
        Aware("NoValueAlarm", "WD", Times(5, {none}, 0)),
        Aware("NoValueAlarm", "WF", With(-0.001, 4294967290u), Times(5, {none}, 1)), // wraps to 4294967295
        Plain("NoValueAlarm", "WF", With(0.001, 0u), In({none}, refused), In({1}, refused)),
        Aware("NoValueAlarm", "WL", With(0.001, 0u), In({0}, 1), In({1}, 0)).Markers({absent}),
        Aware("NoValueAlarm", "WF", With(1.0, 65537u), Times(65, {none}, 0), In({none}, 1)),
        Aware("NoValueAlarm", "WF", With(1500000.0, 2147483648u), In({none}, 0), In({none}, 1)),
    });
}

TEST(Validity, IfReadsOnlyWhatItSelects) {
    RunSequences({
        Plain("If", "DWDD", In({1, 5, absent}, 5), In({0, absent, 6}, 6), In({65535, nan, 6}, nan),
              In({none, none, 6}, nan)),
        Aware("If", "DWDD", In({1, 5, none}, 5), In({0, 5, none}, marker), In({2, none, 6}, marker),
              In({none, 5, 6}, marker), In({none, absent, absent}, marker), In({1, 5, absent}, 5),
              In({0, absent, -0.0}, -0.0)),
        Aware("If", "bWbb", In({1, -7, 3}, -7), In({0, -7, 3}, 3)),
        Aware("If", "QWQQ", In({0, 1, 2}, marker), In({1, 1, 2}, 1)).Markers({0, 8, 9}),
        Aware("If", "FWFF", In({1, nan, 2}, nan), In({0, 1, 0}, 0)).Markers({none, 1e30, absent}),
    });
}

} // namespace
