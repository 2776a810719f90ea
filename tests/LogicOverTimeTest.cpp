#include "FakePlatform.h"
#include "Sequences.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <utility>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// How often the tick counter was asked since the last of these steps.
Step Asked(int times) {
    return {[times](Rig&) { EXPECT_EQ(std::exchange(FakePlatform::tickCountReads, 0), times); }};
}
const Step forgetAsked{[](Rig&) { FakePlatform::tickCountReads = 0; }};
/// Milliseconds after a start that lets the tick counter wrap.
Step After(std::uint32_t milliseconds) { return At(0xFFFFFF00 + milliseconds); }

template <class... TParameters>
Parameters Pulse(float seconds, TParameters... others) {
    return With(Vel::PackedFloat32{seconds}, others...);
}

// The tables are packed by hand.
// clang-format off

TEST(Edges, PassTheirThresholdAndTriggersLatchUntilReset) {
    RunInBothForms({
        {"PosEdge", "WD", plain, With(5.0, 5.0), {In({6}, Is(1)), In({7}, Is(0)), In({4}, Is(0)), In({5}, Is(0)),
            In({5.5}, Is(1)), restart, In({8}, Is(1))}},
        {"NegEdge", "Wb", plain, With(std::int8_t{-5}, std::int8_t{-4}), {In({-5}, Is(0)), In({-6}, Is(1)),
            In({-7}, Is(0)), In({-5}, Is(0)), In({-127}, Is(1))}},
        {"PosEdge", "WQ", plain, With(1ull << 63), {In({9223372036854775808.}, Is(0)), In({1e19}, Is(1))}},
        // Parameters come back to their defaults, and a third one voids the second.
        {"NegEdge", "WF", plain, {In({0}, Is(0)), In({1}, Is(0)), In({0.5}, Is(1)), Init(With(9.0, 10.0), true),
            In({8}, Is(1)), Init(With(), true), In({0}, Is(0)), In({1}, Is(0)), In({0}, Is(1))}},
        {"PosEdge", "Wl", plain, With(-3, -5), {In({-2}, Is(1)), Init(With(-3, -5, 0), true), In({-2}, Is(0)), In({-4}, Is(0)), In({-2}, Is(1)),
            Init(With(3, 7), true), Init(With(3), true), In({4}, Is(1))}},
        {"IsTic", "Wl", plain, {Times(2, {3}, Is(0)), In({3}, Is(1)), In({3}, Is(0)), In({5}, Is(1)), In({0}, Is(0)),
            restart, In({0}, Is(0)), In({2}, Is(1))}},
        {"StartOnlyTrigger", "WW", plain, {In({0}, Is(0)), In({7}, Is(1)), In({0}, Is(1)), In({absent}, Is(1)), restart,
            In({0}, Is(0)), In({1}, Is(1))}},
        {"StopOnlyTrigger", "WW", plain, {In({0}, Is(1)), In({7}, Is(0)), In({0}, Is(0)), restart, In({0}, Is(1))}},
        {"StartStopTrigger", "WWW", plain, {In({0, 1}, Is(0)), In({1, 0}, Is(1)), In({0, 0}, Is(1)), In({0, 2}, Is(1)),
            In({0, 1}, Is(0)), In({2, 2}, Is(1)), In({1, 1}, Is(1)), In({1, 0}, Is(1)), restart, In({0, 0}, Is(0))}},
        {"StartNotStopTrigger", "WWW", plain, {In({1, 0}, Is(1)), In({0, 0}, Is(0)), In({1, 2}, Is(1)),
            In({0, 1}, Is(1)), In({0, 0}, Is(1)), In({0, 1}, Is(0)), In({1, 1}, Is(1)), restart, In({0, 1}, Is(0))}},
        // One pulse, which ends at a zero that follows the end of its time.
        {"StartNotStopTriggerPuls", "WW", plain, {After(0), In({0}, Is(0)), In({1}, Is(1)), After(2000), In({1}, Is(1)),
            In({0}, Is(1)), After(2001), In({0}, Is(1)), In({3}, Is(1)), After(0), In({1}, Is(1)), In({0}, Is(0)),
            After(9000), In({1}, Is(0)), In({1}, Is(0)), In({0}, Is(0)), restart, In({1}, Is(1)), In({1}, Is(1)),
            In({0}, Is(1))}},
        {"StartNotStopTriggerPuls", "WW", plain, With(0.5, 9.0), {Init(With(), false), After(0), In({1}, Is(1)),
            After(500), In({1}, Is(1)), In({0}, Is(1)), After(501), In({1}, Is(1)), In({0}, Is(0))}},
    });
    RunSequences({
        {"NegEdge", "WF", plain, {In({2}, Is(0)), In({nan}, Is(0)), In({0}, Is(0)), In({2}, Is(0)), In({0}, Is(1))}},
        {"IsTic", "WB", plain, {Times(254, {255}, Is(0)), Times(3, {255}, Is(1)), In({0}, Is(0))}},
        {"IsTic", "Wb", aware, {In({none}, marker), Times(126, {127}, Is(0)), Times(3, {127}, Is(1))}},
        {"StartOnlyTrigger", "WW", aware, {In({none}, marker), In({1}, Is(1)), In({none}, Is(1)), restart,
            In({none}, marker)}},
        {"StopOnlyTrigger", "WW", aware, {In({none}, Is(1)), In({1}, Is(0)), In({none}, Is(0)), restart,
            In({none}, Is(1))}},
        {"StopOnlyTrigger", "WW", plain, {In({none}, Is(0)), In({absent}, Is(0))}},
        {"StartNotStopTriggerPuls", "WW", aware, With(1.0), {After(0), forgetAsked, In({1}, Is(1)), Asked(1),
            After(1001), In({none}, marker), In({0}, Is(1)), Asked(0), In({1}, Is(1)), In({0}, Is(0))}},
    });
}

TEST(FlipFlops, ChangesBetweenHighValuesArmTheNextEdge) {
    RunInBothForms({
        {"DFF", "DlD", plain, {In({0, 1}, kept), In({1, 2.5}, Is(2.5)), In({1, 3}, kept), In({0, 4}, kept),
            In({1, 5}, Is(5)), In({2, 6}, kept), In({3, 7}, Is(7)), In({4, 8}, kept), In({-5, 9}, kept),
            In({-6, 9}, kept), In({1, 10}, Is(10)), restart, In({0, 1}, kept), In({1, 12}, Is(12)), restart,
            In({1, 13}, Is(13))}},
        {"DFF", "bQb", plain, {In({1e19, -3}, Is(-3)), In({1, 2}, kept), In({0, 2}, kept), In({2, 2}, Is(2))}},
        {"TFF", "WF", plain, {In({0.25}, Is(1)), In({2}, kept), In({3}, Is(0)), In({-0.5}, kept), In({0.5}, Is(1)),
            restart, In({0}, kept), In({1}, Is(1))}},
    });
    RunSequences({
        {"DFF", "FDF", plain, {In({nan, absent}, kept), In({nan, 2}, kept), In({1, 3}, Is(3)), In({nan, 4}, kept)}},
        {"DFF", "WWW", aware, {In({1, none}, marker), In({none, 1}, marker), In({1, 2}, Is(2)), In({1, none}, marker)}},
    });
}

TEST(MonoFlop, PulseIsWrittenAtItsEndsOnly) {
    const Step begins = In({1}, Is(1));
    RunInBothForms({
        {"MonoFlop", "WB", plain, Pulse(1.5f), {After(0), In({0}, kept), begins, After(1500), In({0}, kept),
            In({1}, kept), After(1501), In({1}, Is(0)), In({2}, kept), In({3}, Is(1))}},
        {"MonoFlop", "Wq", plain, {In({-1}, kept), At(5), begins, In({1}, kept), At(6), In({1}, Is(0))}}, // 0 seconds
        // Over and triggered in one sample: 0, then 1, with a new start.
        {"MonoFlop", "WF", plain, Pulse(1), {At(0), forgetAsked, begins, Asked(1), In({-1}, kept), At(1001),
            In({0.1}, Is(1)), Asked(3), At(2001), In({1}, kept), At(2002), In({1}, Is(0))}},
        // Reset forgets the pulse and leaves the 1.
        {"MonoFlop", "WW", plain, Pulse(1), {At(0), begins, restart, At(9999), In({0}, kept), begins, restart, begins,
            At(10999), In({1}, kept), At(11000), In({1}, Is(0))}},
        {"MonoFlop", "DDD", plain, With(0.5), {In({0, 9}, kept), In({0.5, 10}, Is(1)), In({0, 10.5}, kept),
            In({1, 10.25}, kept), In({1, 10.75}, Is(0)), In({2, 11}, kept), In({3, 12}, Is(1)), restart,
            In({3, 13}, Is(1))}},
        {"MonoFlop", "FFF", plain, With(0.1), {In({1, 0}, Is(1)), In({1, 0.1}, kept), In({1, 0.11}, Is(0)),
            In({2, 16777216}, kept), In({3, 16777216}, Is(1)), In({3, 16777217}, kept)}}, // which Float32 cannot tell
    });
    RunSequences({
        {"MonoFlop", "DDD", plain, {In({0, absent}, kept), In({1, 1}, Is(1)), In({nan, 1}, kept)}},
    });
}

TEST(MonoFlop, ParametersAreReadFromTheirLowBytes) {
    const auto lasts = [](std::uint32_t milliseconds) {
        return std::vector{At(0), In({1}, Is(1)), At(milliseconds), In({1}, kept),
                           At(milliseconds + 1), In({1}, Is(0))};
    };
    const auto cHost = [](double duration) {
        return Parameters([=](Vel::OperationHandle& monoFlop) { return Initialize(monoFlop.Get(), "F", duration); });
    };
    const std::vector<Step> once{In({1}, Is(1)), In({0}, kept), In({1}, kept)};
    const std::vector<Step> again{In({1}, Is(1)), In({0}, kept), In({1}, Is(1))};
    RunInBothForms({
        {"MonoFlop", "WW", plain, cHost(VelPackFloat32(0.25f)), lasts(250)},
        {"MonoFlop", "WW", plain, cHost(std::bit_cast<double>(0xC0590000'3F000000u)), lasts(500)},
        {"MonoFlop", "WW", plain, Pulse(0.0015f, 1), lasts(1)},
        {"MonoFlop", "WW", plain, Pulse(4294968.f), lasts(704)}, // of 2^32 + 704
        {"MonoFlop", "WW", plain, Pulse(-0.002f), lasts(0xFFFFFFFE)},
        {"MonoFlop", "WW", plain, Pulse(1e20f), lasts(0)},
        {"MonoFlop", "WW", plain, Pulse(1, 0x8000), again},
        {"MonoFlop", "WW", plain, Pulse(1, 0x10000), once},
        {"MonoFlop", "WW", plain, Pulse(1, 1, 1), once},
        {"MonoFlop", "DDD", plain, With(1.0, 0x10000), {In({1, 0}, Is(1)), In({0, 1}, kept), In({1, 1}, Is(1)),
            In({0, 2}, kept), Init(With(), false), Init(With(1.0, 0, 1), true), In({0, 2.5}, Is(0))}},
        // Retriggering moves the end, and neither Reset nor an Initialize without a word on it takes it back.
        {"MonoFlop", "WW", plain, Pulse(1, 1), {Init(With(), false), Init(Pulse(1), true), restart, At(0), In({1}, Is(1)), At(800),
            In({0}, kept), In({1}, Is(1)), At(1001), In({1}, kept), At(1801), In({1}, Is(0))}},
    });
}

TEST(Timeout, WatchesForTheLastChange) {
    RunInBothForms({
        {"Timeout", "WLL", plain, {After(0), forgetAsked, In({5, 2}, Is(0)), After(1999), In({5, 2}, Is(0)),
            After(2000), In({5, 2}, Is(1)), Asked(3), In({5, 9}, Is(1)), Asked(0), In({6, 2}, Is(0)), After(3999),
            In({6, 2}, Is(0)), In({6, 1}, Is(1)), restart, In({6, 0}, Is(0)), In({6, 0}, Is(1))}},
        {"Timeout", "WDD", plain, {At(0), In({5, 9}, Is(0)), At(1999), In({5, 1.5}, Is(0)), At(2000),
            In({5, 1.5}, Is(1))}},
        // Seconds wrap in the narrow types; hour 50; the end of the counter after 49.7 days.
        {"Timeout", "WBB", plain, {At(0), In({1, 9}, Is(0)), At(256000), In({1, 1}, Is(0)), At(257000),
            In({1, 1}, Is(1))}},
        {"Timeout", "Wbb", plain, {At(0), In({1, 9}, Is(0)), At(128000), In({1, -127}, Is(0)), At(129000),
            In({1, -127}, Is(1))}},
        {"Timeout", "Wll", plain, {At(0), In({1, 180000}, Is(0)), At(179999999), In({1, 180000}, Is(0)), At(180000000),
            In({1, 180000}, Is(1))}},
        {"Timeout", "WFF", plain, {At(1), In({1, 1}, Is(0)), At(0), In({1, 4294967.5}, Is(0)),
            In({1, 4294967}, Is(1))}},
        {"Timeout", "WbDD", plain, {In({1, 0, 10}, Is(0)), In({1, 0.5, 10.25}, Is(0)), In({1, 0.5, 10.5}, Is(1)),
            In({1, 9, 10}, Is(1)), In({2, 0, 11}, Is(0)), In({2, 0.5, 11}, Is(0)), In({2, 0, 11}, Is(1)), restart,
            In({2, 0, 12}, Is(0)), In({2, -1, 11}, Is(1))}},
        {"Timeout", "WQFF", plain, {In({1, 1, 16777216}, Is(0)), In({1, 1, 16777217}, Is(0))}},
    });
    RunSequences({
        {"Timeout", "WFF", plain, {In({nan, 0}, Is(0)), In({nan, 0}, Is(0)), In({1, nan}, Is(0)), In({1, nan}, Is(0))}},
        // The one row without a NoValue-aware form.
        {"Timeout", "Www", aware, {At(0), In({none, 1}, Is(0)), At(1000), In({none, 1}, Is(1)), In({1, none}, Is(0)),
            In({1, none}, Is(1))}},
        {"Timeout", "WlFF", plain, {In({1, absent, 0}, Is(0)), In({1, 1, 1}, Is(1)), In({1, absent, absent}, Is(1))}},
        {"Timeout", "WlDD", aware, {In({1, 1, 0}, Is(0)), In({none, 1, 1}, marker), In({1, none, 1}, marker),
            In({1, 1, none}, marker), In({1, 1, 1}, Is(1)), In({1, 1, none}, marker), In({1, 2, 0}, Is(1))}},
    });
}

TEST(TimeMeasurement, FollowsItsConditions) {
    RunInBothForms({
        {"TimeDiff", "DWW", plain, With(0.25), {In({0, 0}, trueMarker), In({1, 0}, kept), In({1, 0}, kept),
            In({0, 0}, kept), In({2, 0}, kept), In({0, 1}, Is(1)), In({1, 0}, kept), In({1, 7}, Is(0.25)),
            In({0, 0}, kept), In({1, 1}, Is(0)), In({2, 2}, kept), In({3, 2}, kept), In({3, 3}, Is(0.25)), restart,
            In({0, 1}, trueMarker), In({1, 0}, kept), restart, In({0, 1}, trueMarker), In({0, 0}, kept)}},
        {"TimeDiff", "FWW", plain, With(0.1), {Init(With(), false), Init(With(3.0, 4.0), false), In({1, 0}, trueMarker),
            In({0, 0}, kept), In({0, 0}, kept), In({0, 1}, Is(0.1f * 3))}},
        {"TimeDiff", "DWWD", plain, {In({0, 0, 5}, trueMarker), In({1, 0, 10}, kept), In({0, 0, 11}, kept),
            In({1, 0, 12}, kept), In({0, 2, 13.5}, Is(3.5)), In({1, 0, 20}, kept), In({0, 1, 18}, Is(-2)),
            In({2, 0, 40}, kept), In({3, 1, 40}, Is(0)), restart, In({1, 0, 1}, trueMarker), In({1, 1, 2}, Is(1))}},
        {"TimeDiff", "FWWF", plain, {In({1, 0, 16777216}, trueMarker), In({1, 1, 16777217}, Is(0))}},
        // A stop without a start is an edge in the form with a time channel only.
        {"TimeDiff", "DWW", plain, With(1.0), {In({0, 1}, trueMarker), In({1, 1}, kept), In({1, 2}, Is(1))}},
        {"TimeDiff", "DWWD", plain, {In({0, 1, 0}, trueMarker), In({1, 1, 1}, kept), In({1, 2, 2}, kept),
            In({1, 3, 3}, Is(2))}},
        {"Time", "DW", plain, With(0.5), {In({0}, Is(0)), In({3}, Is(0.5)), In({1}, Is(1)), In({0}, Is(0)),
            In({1}, Is(0.5)), restart, In({1}, Is(0.5)), Init(With(), false), Init(With(1.0, 1.0), false),
            In({1}, Is(1)), Init(With(2.0), true), In({1}, Is(6))}},
        {"Time", "FW", plain, With(0.1), {In({1}, Is(0.1f)), In({1}, Is(2 * 0.1f)), In({1}, Is(3 * 0.1f))}},
        {"Time", "DWD", plain, {In({0, 9}, Is(0)), In({2, 10}, Is(0)), In({1, 10.5}, Is(0.5)), In({1, 9}, Is(-1)),
            In({0, 12}, Is(2)), In({0, 13}, Is(0)), In({1, 20}, Is(0)), restart, In({1, 21}, Is(0)),
            In({1, 22}, Is(1))}},
        {"Count", "FWW", plain, {In({0, 0}, Is(0)), In({1, 0}, Is(1)), In({2, 0}, Is(1)), In({3, 0}, Is(2)),
            In({0, 5}, Is(0)), In({1, 5}, Is(1)), In({1, 6}, Is(1)), In({0, 7}, Is(0)), In({9, 0}, Is(1)),
            In({0, 0}, Is(1)), In({1, 1}, Is(0)), restart, In({1, 0}, Is(1)), restart, In({2, 3}, Is(0))}},
    });
    RunSequences({
        {"TimeDiff", "DWWD", plain, {In({0, 1, absent}, trueMarker), In({1, 0, 1}, kept), In({3, 0, absent}, kept)}},
        {"TimeDiff", "DWW", aware, With(1.0), {In({none, 1}, marker), In({1, 0}, trueMarker), In({1, none}, marker),
            In({none, 1}, marker), In({1, 0}, kept), In({1, 1}, Is(2))}},
        {"Time", "FWF", plain, {In({0, absent}, Is(0)), In({1, 16777216}, Is(0)), In({0, 16777217}, Is(0))}},
    });
}

// clang-format on

TEST(Triggers, OneChannelMayBeOperandAndResult) {
    Vel::Channel<std::uint16_t> start, stopAndResult;
    auto trigger = Vel::OperationHandle::Create(false, "StartStopTrigger", stopAndResult, start, stopAndResult);
    stopAndResult = 0;
    start = 1;
    for (const int expected : {1, 1, 0}) { // the stop is what the result was before
        EXPECT_TRUE(trigger.Execute());
        EXPECT_EQ(stopAndResult.Get(), expected);
        start = 0;
    }
}

} // namespace
