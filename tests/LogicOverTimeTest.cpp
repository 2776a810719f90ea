#include "Sequences.h"
#include "checks/FakePlatform.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <utility>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// How often the tick counter was asked since the last of these steps.
Step Asked(int times, Place place = Place::Here()) {
    return {[=](Rig&) {
        if (const int asked = std::exchange(FakePlatform::tickCountReads, 0); asked != times)
            ADD_FAILURE_AT(place.file, place.line) << "asked " << asked << " times, and not " << times;
    }};
}
const Step forgetAsked{[](Rig&) { FakePlatform::tickCountReads = 0; }};
/// Milliseconds after a start shortly before the tick counter wraps.
Step After(std::uint32_t milliseconds) { return At(0xFFFFFF00 + milliseconds); }

template <class... TParameters>
Parameters Pulse(float seconds, TParameters... others) {
    return With(Vel::PackedFloat32{seconds}, others...);
}

TEST(Edges, PassTheirThresholdAndTriggersLatchUntilReset) {
    RunSequences({
        Both("PosEdge", "WD", With(5.0, 5.0), In({6}, 1), In({7}, 0), In({4}, 0), In({5}, 0), In({5.5}, 1), restart,
             In({8}, 1)),
        Both("NegEdge", "Wb", With(std::int8_t{-5}, std::int8_t{-4}), In({-5}, 0), In({-6}, 1), In({-7}, 0),
             In({-5}, 0), In({-127}, 1)),
        Both("PosEdge", "WQ", With(1ull << 63), In({9223372036854775808.}, 0), In({1e19}, 1)),
        // Without parameters the defaults return, and a third parameter cancels the second.
        Both("NegEdge", "WF", In({0}, 0), In({1}, 0), In({0.5}, 1), Init(With(9.0, 10.0), true), In({8}, 1),
             Init(With(), true), In({0}, 0), In({1}, 0), In({0}, 1)),
        Both("PosEdge", "Wl", With(-3, -5), In({-2}, 1), Init(With(-3, -5, 0), true), In({-2}, 0), In({-4}, 0),
             In({-2}, 1), Init(With(3, 7), true), Init(With(3), true), In({4}, 1)),
        Both("IsTic", "Wl", Times(2, {3}, 0), In({3}, 1), In({3}, 0), In({5}, 1), In({0}, 0), restart, In({0}, 0),
             In({2}, 1)),
        Both("StartOnlyTrigger", "WW", In({0}, 0), In({7}, 1), In({0}, 1), In({absent}, 1), restart, In({0}, 0),
             In({1}, 1)),
        Both("StopOnlyTrigger", "WW", In({0}, 1), In({7}, 0), In({0}, 0), restart, In({0}, 1)),
        Both("StartStopTrigger", "WWW", In({0, 1}, 0), In({1, 0}, 1), In({0, 0}, 1), In({0, 2}, 1), In({0, 1}, 0),
             In({2, 2}, 1), In({1, 1}, 1), In({1, 0}, 1), restart, In({0, 0}, 0)),
        Both("StartNotStopTrigger", "WWW", In({1, 0}, 1), In({0, 0}, 0), In({1, 2}, 1), In({0, 1}, 1), In({0, 0}, 1),
             In({0, 1}, 0), In({1, 1}, 1), restart, In({0, 1}, 0)),
        // One pulse, which ends at a zero after its time is over.
        Both("StartNotStopTriggerPuls", "WW", After(0), In({0}, 0), In({1}, 1), After(2000), In({1}, 1), In({0}, 1),
             After(2001), In({0}, 1), In({3}, 1), After(0), In({1}, 1), In({0}, 0), After(9000), In({1}, 0), In({1}, 0),
             In({0}, 0), restart, In({1}, 1), In({1}, 1), In({0}, 1)),
        Both("StartNotStopTriggerPuls", "WW", With(0.5, 9.0), Init(With(), false), After(0), In({1}, 1), After(500),
             In({1}, 1), In({0}, 1), After(501), In({1}, 1), In({0}, 0)),
        Both("StartNotStopTriggerPuls", "WW", With(2147484.), At(0), In({1}, 1), At(2147484000), In({1}, 1), In({0}, 1),
             At(2147484001), In({1}, 1), In({0}, 0)), // more than 31 bits of milliseconds
        Both("StartNotStopTriggerPuls", "WW", At(0), In({1}, 1), At(2001), In({1}, 1), restart, In({1}, 1), In({0}, 1)),
        Plain("NegEdge", "WF", In({2}, 0), In({nan}, 0), In({0}, 0), In({2}, 0), In({0}, 1)),
        Plain("IsTic", "WB", Times(254, {255}, 0), Times(3, {255}, 1), In({0}, 0)),
        Aware("IsTic", "Wb", In({none}, marker), Times(126, {127}, 0), Times(3, {127}, 1)),
        Aware("StartOnlyTrigger", "WW", In({none}, marker), In({1}, 1), In({none}, 1), restart, In({none}, marker)),
        Aware("StopOnlyTrigger", "WW", In({none}, 1), In({1}, 0), In({none}, 0), restart, In({none}, 1)),
        Plain("StopOnlyTrigger", "WW", In({none}, 0), In({absent}, 0)),
        Aware("StartNotStopTriggerPuls", "WW", With(1.0), After(0), forgetAsked, In({1}, 1), Asked(1), After(1001),
              In({none}, marker), In({0}, 1), Asked(0), In({1}, 1), In({0}, 0)),
    });
}

TEST(FlipFlops, ChangesBetweenHighValuesArmTheNextEdge) {
    RunSequences({
        Both("DFF", "DlD", In({0, 1}, kept), In({1, 2.5}, 2.5), In({1, 3}, kept), In({0, 4}, kept), In({1, 5}, 5),
             In({2, 6}, kept), In({3, 7}, 7), In({4, 8}, kept), In({-5, 9}, kept), In({-6, 9}, kept), In({1, 10}, 10),
             restart, In({0, 1}, kept), In({1, 12}, 12), restart, In({1, 13}, 13)),
        Both("DFF", "bQb", In({1e19, -3}, -3), In({1, 2}, kept), In({0, 2}, kept), In({2, 2}, 2)),
        Both("TFF", "WF", In({0.25}, 1), In({2}, kept), In({3}, 0), In({-0.5}, kept), In({0.5}, 1), restart,
             In({0}, kept), In({1}, 1)),
        Plain("DFF", "FDF", In({nan, absent}, kept), In({nan, 2}, kept), In({1, 3}, 3), In({nan, 4}, kept)),
        Aware("DFF", "WWW", In({1, none}, marker), In({none, 1}, marker), In({1, 2}, 2), In({1, none}, marker)),
    });
}

TEST(MonoFlop, PulseIsWrittenAtItsEndsOnly) {
    const Step begins = In({1}, 1);
    RunSequences({
        Both("MonoFlop", "WB", Pulse(1.5f), After(0), In({0}, kept), begins, After(1500), In({0}, kept), In({1}, kept),
             After(1501), In({1}, 0), In({2}, kept), In({3}, 1)),
        Both("MonoFlop", "Wq", In({-1}, kept), At(5), begins, In({1}, kept), At(6), In({1}, 0)), // 0 seconds
        // Over and triggered in one sample: 0, then 1, with a new start.
        Both("MonoFlop", "WF", Pulse(1), At(0), forgetAsked, begins, Asked(1), In({-1}, kept), At(1001), In({0.1}, 1),
             Asked(3), At(2001), In({1}, kept), At(2002), In({1}, 0)),
        // Reset forgets the pulse and leaves the 1.
        Both("MonoFlop", "WW", Pulse(1), At(0), begins, restart, At(9999), In({0}, kept), begins, restart, begins,
             At(10999), In({1}, kept), At(11000), In({1}, 0)),
        Both("MonoFlop", "DDD", With(0.5), In({0, 9}, kept), In({0.5, 10}, 1), In({0, 10.5}, kept),
             In({1, 10.25}, kept), In({1, 10.75}, 0), In({2, 11}, kept), In({3, 12}, 1), restart, In({3, 13}, 1),
             restart, In({0, 99}, kept)),
        Both("MonoFlop", "FFF", With(0.1), In({1, 0}, 1), In({1, 0.1}, kept), In({1, 0.11}, 0), In({2, 16777216}, kept),
             In({3, 16777216}, 1), In({3, 16777217}, kept)), // which Float32 cannot tell
        Plain("MonoFlop", "DDD", In({0, absent}, kept), In({1, 1}, 1), In({nan, 1}, kept)),
    });
}

TEST(MonoFlop, ParametersAreReadFromTheirLowBytes) {
    const auto lasts = [](std::uint32_t milliseconds) {
        return std::vector{At(0), In({1}, 1), At(milliseconds), In({1}, kept), At(milliseconds + 1), In({1}, 0)};
    };
    const auto cHost = [](double duration) {
        return Parameters([=](Vel::OperationHandle& monoFlop) { return Initialize(monoFlop.Get(), "F", duration); });
    };
    const std::vector<Step> once{In({1}, 1), In({0}, kept), In({1}, kept)};
    const std::vector<Step> again{In({1}, 1), In({0}, kept), In({1}, 1)};
    RunSequences({
        Both("MonoFlop", "WW", cHost(VelPackFloat32(0.25f)), lasts(250)),
        Both("MonoFlop", "WW", cHost(std::bit_cast<double>(0xC0590000'3F000000u)), lasts(500)),
        Both("MonoFlop", "WW", Pulse(0.0015f, 1), lasts(1)),
        Both("MonoFlop", "WW", Pulse(4294968.f), lasts(704)), // of 2^32 + 704
        Both("MonoFlop", "WW", Pulse(-0.002f), lasts(0xFFFFFFFE)),
        Both("MonoFlop", "WW", Pulse(2147484.f), lasts(2147484000)),
        Both("MonoFlop", "WW", Pulse(1e20f), lasts(0)),
        Both("MonoFlop", "WW", Pulse(1, 0x8000), again),
        Both("MonoFlop", "WW", Pulse(1, 0x10000), once),
        Both("MonoFlop", "WW", Pulse(1, 1, 1), once),
        Both("MonoFlop", "DDD", With(1.0, 0x10000), In({1, 0}, 1), In({0, 1}, kept), In({1, 1}, 1), In({0, 2}, kept),
             Init(With(), false), Init(With(1.0, 0, 1), true), In({0, 2.5}, 0)),
        // Retriggering moves the end. Neither Reset nor an Initialize without that parameter switches it off.
        Both("MonoFlop", "WW", Pulse(1, 1), Init(With(), false), Init(Pulse(1), true), restart, At(0), In({1}, 1),
             At(800), In({0}, kept), In({1}, 1), At(1001), In({1}, kept), At(1801), In({1}, 0)),
    });
}

TEST(Timeout, WatchesForTheLastChange) {
    RunSequences({
        Both("Timeout", "WLL", After(0), forgetAsked, In({5, 2}, 0), After(1999), In({5, 2}, 0), After(2000),
             In({5, 2}, 1), Asked(3), In({5, 9}, 1), Asked(0), In({6, 2}, 0), After(3999), In({6, 2}, 0), In({6, 1}, 1),
             restart, In({6, 0}, 0), In({6, 0}, 1)),
        Both("Timeout", "WDD", At(0), In({5, 9}, 0), At(1999), In({5, 1.5}, 0), At(2000), In({5, 1.5}, 1)),
        // Seconds wrap in the narrow types; hour 50; the end of the counter after 49.7 days.
        Both("Timeout", "WBB", At(0), In({1, 9}, 0), At(256000), In({1, 1}, 0), At(257000), In({1, 1}, 1)),
        Both("Timeout", "Wbb", At(0), In({1, 9}, 0), At(128000), In({1, -127}, 0), At(129000), In({1, -127}, 1)),
        Both("Timeout", "Wll", At(0), In({1, 180000}, 0), At(179999999), In({1, 180000}, 0), At(180000000),
             In({1, 180000}, 1)),
        Both("Timeout", "WFF", At(1), In({1, 1}, 0), At(0), In({1, 4294967.5}, 0), In({1, 4294967}, 1)),
        Both("Timeout", "WbDD", In({1, 0, 10}, 0), In({1, 0.5, 10.25}, 0), In({1, 0.5, 10.5}, 1), In({1, 9, 10}, 1),
             In({2, 0, 11}, 0), In({2, 0.5, 11}, 0), In({2, 0, 11}, 1), restart, In({2, 0, 12}, 0), In({2, -1, 11}, 1)),
        Both("Timeout", "WQFF", In({1, 1, 16777216}, 0), In({1, 1, 16777217}, 0)),
        Plain("Timeout", "WFF", In({nan, 0}, 0), In({nan, 0}, 0), In({1, nan}, 0), In({1, nan}, 0)),
        // The one row without a NoValue-aware form.
        Aware("Timeout", "Www", At(0), In({none, 1}, 0), At(1000), In({none, 1}, 1), In({1, none}, 0),
              In({1, none}, 1)),
        Plain("Timeout", "WlFF", In({1, absent, 0}, 0), In({1, 1, 1}, 1), In({1, absent, absent}, 1)),
        Aware("Timeout", "WlDD", In({1, 1, 0}, 0), In({none, 1, 1}, marker), In({1, none, 1}, marker),
              In({1, 1, none}, marker), In({1, 1, 1}, 1), In({1, 1, none}, marker), In({1, 2, 0}, 1)),
    });
}

TEST(TimeMeasurement, FollowsItsConditions) {
    RunSequences({
        Both("TimeDiff", "DWW", With(0.25), In({0, 0}, trueMarker), In({1, 0}, kept), In({1, 0}, kept),
             In({0, 0}, kept), In({2, 0}, kept), In({0, 1}, 1), In({1, 0}, kept), In({1, 7}, 0.25), In({0, 0}, kept),
             In({1, 1}, 0), In({2, 2}, kept), In({3, 2}, kept), In({3, 3}, 0.25), restart, In({0, 1}, trueMarker),
             In({1, 0}, kept), restart, In({0, 1}, trueMarker), In({0, 0}, kept)),
        Both("TimeDiff", "FWW", With(0.1), Init(With(), false), Init(With(3.0, 4.0), false), In({1, 0}, trueMarker),
             In({0, 0}, kept), In({0, 0}, kept), In({0, 1}, 0.1f * 3)),
        Both("TimeDiff", "DWWD", In({0, 0, 5}, trueMarker), In({1, 0, 10}, kept), In({0, 0, 11}, kept),
             In({1, 0, 12}, kept), In({0, 2, 13.5}, 3.5), In({1, 0, 20}, kept), In({0, 1, 18}, -2),
             In({2, 0, 40}, kept), In({3, 1, 40}, 0), restart, In({1, 0, 1}, trueMarker), In({1, 1, 2}, 1),
             In({0, 0, 3}, kept), In({1, 0, 3}, kept), restart, In({0, 1, 4}, trueMarker)),
        Both("TimeDiff", "FWWF", In({1, 0, 16777216}, trueMarker), In({1, 1, 16777217}, 0)),
        // A stop without a start is an edge only in the form with a time channel.
        Both("TimeDiff", "DWW", With(1.0), In({0, 1}, trueMarker), In({1, 1}, kept), In({1, 2}, 1)),
        Both("TimeDiff", "DWWD", In({0, 1, 0}, trueMarker), In({1, 1, 1}, kept), In({1, 2, 2}, kept), In({1, 3, 3}, 2)),
        Both("Time", "DW", With(0.5), In({0}, 0), In({3}, 0.5), In({1}, 1), In({0}, 0), In({1}, 0.5), restart,
             In({1}, 0.5), Init(With(), false), Init(With(1.0, 1.0), false), In({1}, 1), Init(With(2.0), true),
             In({1}, 6)),
        Both("Time", "FW", With(0.1), In({1}, 0.1f), In({1}, 2 * 0.1f), In({1}, 3 * 0.1f)),
        Both("Time", "DWD", In({0, 9}, 0), In({2, 10}, 0), In({1, 10.5}, 0.5), In({1, 9}, -1), In({0, 12}, 2),
             In({0, 13}, 0), In({1, 20}, 0), restart, In({1, 21}, 0), In({1, 22}, 1)),
        Both("Count", "FWW", In({0, 0}, 0), In({1, 0}, 1), In({2, 0}, 1), In({3, 0}, 2), In({0, 5}, 0), In({1, 5}, 1),
             In({1, 6}, 1), In({0, 7}, 0), In({9, 0}, 1), In({0, 0}, 1), In({1, 1}, 0), restart, In({1, 0}, 1), restart,
             In({2, 3}, 0), restart, In({1, 3}, 0)),
        Plain("TimeDiff", "DWWD", In({0, 1, absent}, trueMarker), In({1, 0, 1}, kept), In({3, 0, absent}, kept)),
        Aware("TimeDiff", "DWW", With(1.0), In({none, 1}, marker), In({1, 0}, trueMarker), In({1, none}, marker),
              In({none, 1}, marker), In({1, 0}, kept), In({1, 1}, 2)),
        Plain("Time", "FWF", In({0, absent}, 0), In({1, 16777216}, 0), In({0, 16777217}, 0)),
    });
}

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
