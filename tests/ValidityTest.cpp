#include "FakePlatform.h"
#include "Sequences.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Validity, ValidComputesOnlyInItsAwareForm) {
    RunSequences({
        {"Valid", "WD", plain, {In({1}, refused), In({none}, refused)}},
        {"Valid", "Wq", aware, {In({1}, Is(1)), In({none}, Is(0)), In({0}, Is(1))}},
        {"Valid", "WF", aware, {In({-nan}, Is(0)), In({std::numeric_limits<double>::infinity()}, Is(1))}},
        {"Valid", "DDD", plain, {In({1, 2}, refused), In({none, none}, refused)}},
        {"Valid",
         "WWW",
         aware,
         {In({none, 7}, Is(7)), In({8, 7}, Is(8)), In({8, none}, Is(8)), In({none, none}, marker),
          In({8, absent}, Is(8))}},
        {"Valid", "DDD", aware, {In({nan, -0.0}, Is(-0.0)), In({none, none}, marker)}},
        // Without a marker the sample 0 reads as NoValue, and a NaN does not.
        Sequence{"Valid", "WB", aware, {In({0}, Is(0)), In({1}, Is(1))}}.Markers({absent}),
        Sequence{"Valid", "WD", aware, {In({-0.0}, Is(0)), In({nan}, Is(1))}}.Markers({absent}),
        Sequence{"Valid", "FFF", aware, {In({0, 0}, marker), In({0, 2}, Is(2))}}.Markers({absent, absent}),
        Sequence{"Valid", "DDD", aware, {In({nan, 5}, Is(nan))}}.Markers({1e308, none}),
    });
}

TEST(Validity, IsNoValueWaitsOnTheTickCounter) {
    RunInBothForms({
        {"IsNoValue",
         "Wl",
         plain,
         With(0.5),
         {At(1000), In({3}, Is(0)), In({none}, Is(0)), At(1500), In({none}, kept), At(1501), In({none}, Is(1)),
          At(1502), In({none}, Is(1)), In({3}, Is(0)), In({none}, Is(0)), At(2002), In({none}, kept), restart, At(9000),
          In({none}, Is(0)), At(9501), In({none}, Is(1))}},
        // Over the wrap of the counter.
        {"IsNoValue",
         "WD",
         plain,
         With(1.0),
         {At(0xFFFFFF00), In({none}, Is(0)), At(0xFFFFFF00 + 1000), In({none}, kept), At(0xFFFFFF00 + 1001),
          In({none}, Is(1))}},
        {"IsNoValue", "WF", plain, With(), {In({none}, Is(1)), In({1}, Is(0)), In({none}, Is(1))}},
        {"IsNoValue", "WF", plain, With(0.0009, 5.0), {In({none}, Is(1))}}, // no whole millisecond; the rest is ignored
        {"IsNoValue",
         "WB",
         plain,
         With(-1.0),
         {At(0), In({none}, Is(0)), At(4294966296), In({none}, kept), At(4294966297), In({none}, Is(1))}},
        Sequence{"IsNoValue", "WB", plain, With(0.0), {In({0}, Is(0)), In({absent}, Is(0))}}.Markers({absent}),
    });
}

TEST(Validity, IsNoValueAsksTheTickCounterOnlyWhileItWaits) {
    FakePlatform::tickCountReads = 0;
    RunSequences(
        {{"IsNoValue", "Wl", plain, With(0.5), {In({3}, Is(0)), In({none}, Is(0)), In({none}, kept), In({3}, Is(0))}},
         {"IsNoValue", "Wl", plain, With(0.0), {In({none}, Is(1)), In({3}, Is(0))}}});
    EXPECT_EQ(FakePlatform::tickCountReads, 2);
}

TEST(Validity, IsNoValueWaitsOnATimeChannel) {
    RunSequences({
        {"IsNoValue",
         "WDD",
         plain,
         With(2.0),
         {In({none, 0}, Is(0)), In({none, 1}, Is(0)), In({none, 2}, Is(0)), In({none, 3}, Is(1)), In({1, 4}, Is(0)),
          In({none, 6}, Is(0)), In({none, 6.5}, Is(1)), restart, In({none, 50}, Is(0)), In({none, 53}, Is(1)),
          In({none, nan}, Is(0))}},
        {"IsNoValue",
         "WFF",
         plain,
         With(0.1),
         {In({1, 0}, Is(0)), In({none, static_cast<double>(0.1f)}, Is(0)), In({none, 0.2}, Is(1))}},
        // Without a delay time is not read at all.
        {"IsNoValue", "WDD", plain, With(), {In({none, absent}, Is(1)), In({1, absent}, Is(0))}},
        {"IsNoValue", "WDD", plain, With(nan), {In({none, absent}, Is(1))}},
        Sequence{"IsNoValue", "WDD", plain, With(1.0), {In({absent, 0}, Is(0)), In({0, 9}, Is(0))}}.Markers(
            {absent, none}),
        {"IsNoValue", "WDD", aware, With(2.0), {In({none, 0}, refused), restart, In({1, 5}, refused)}},
    });
}

TEST(Validity, NoValueAlarmCountsSamples) {
    RunSequences({
        {"NoValueAlarm",
         "Ww",
         aware,
         With(0.01, 30u),
         {Times(3, {none}, Is(0)), Times(9, {none}, Is(1)), In({1}, Is(0)), Times(3, {none}, Is(0)), restart,
          Times(3, {none}, Is(0)), In({none}, Is(1)), restart, In({none}, Is(0))}},
        {"NoValueAlarm",
         "WD",
         aware,
         With(0.001, 0u),
         {In({none}, Is(1)), Init(With(1.0), false), Init(With(1.0, 1u, 1u), false), In({1}, Is(0)),
          In({none}, Is(1))}},
        {"NoValueAlarm", "WD", aware, {Times(5, {none}, Is(0))}},
        {"NoValueAlarm", "WF", aware, With(-0.001, 4294967290u), {Times(5, {none}, Is(1))}}, // wraps to 4294967295
        {"NoValueAlarm", "WF", plain, With(0.001, 0u), {In({none}, refused), In({1}, refused)}},
        Sequence{"NoValueAlarm", "WL", aware, With(0.001, 0u), {In({0}, Is(1)), In({1}, Is(0))}}.Markers({absent}),
    });
}

TEST(Validity, IfReadsOnlyWhatItSelects) {
    RunSequences({
        {"If",
         "DWDD",
         plain,
         {In({1, 5, absent}, Is(5)), In({0, absent, 6}, Is(6)), In({65535, nan, 6}, Is(nan)),
          In({none, none, 6}, Is(nan))}},
        {"If",
         "DWDD",
         aware,
         {In({1, 5, none}, Is(5)), In({0, 5, none}, marker), In({2, none, 6}, marker), In({none, 5, 6}, marker),
          In({none, absent, absent}, marker), In({1, 5, absent}, Is(5)), In({0, absent, -0.0}, Is(-0.0))}},
        {"If", "bWbb", aware, {In({1, -7, 3}, Is(-7)), In({0, -7, 3}, Is(3))}},
        Sequence{"If", "QWQQ", aware, {In({0, 1, 2}, marker), In({1, 1, 2}, Is(1))}}.Markers({0, 8, 9}),
        Sequence{"If", "FWFF", aware, {In({1, nan, 2}, Is(nan)), In({0, 1, 0}, Is(0))}}.Markers({none, 1e30, absent}),
    });
}

} // namespace
