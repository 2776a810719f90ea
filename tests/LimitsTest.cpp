#include "Sequences.h"

#include <gtest/gtest.h>

using namespace Sequences;

namespace {

TEST(Limits, RiseAtTheLimitAndFallBehindTheHysteresis) {
    RunSequences({
        Both("UpperLimit", "WDD", With(2.), In({10, 10}, kept), In({11, 10}, 1), In({9, 10}, kept), In({8, 10}, kept),
             In({7.9, 10}, 0), In({7.9, 5}, 1), In({7.9, 9.9}, kept), In({7.9, 10}, 0)),
        Both("LowerLimit", "WFF", With(2.f), In({10, 10}, kept), In({9, 10}, 1), In({11, 10}, kept), In({12, 10}, kept),
             In({12.1, 10}, 0)),
        // Float32 throughout: in Float64 this value would be below the return point.
        Both("UpperLimit", "WFF", With(4e-8f), In({2, 1}, 1), In({0.99999994, 1}, kept)),
        Both("UpperLimit", "WDDD", With(10.), In({100, 100, 0}, kept), In({100.1, 100, 0}, 1), In({90, 100, 0}, kept),
             In({89, 100, -20}, kept), In({89.9, 100, 0}, 0)),
        Both("LowerLimit", "WFFF", With(10.f), In({0, 100, 0}, kept), In({-1, 100, 0}, 1), In({10, 100, 0}, kept),
             In({10.5, 100, 0}, 0)),
        // Upside down, with a negative hysteresis.
        Both("LowerLimit", "WDDD", With(10.), In({99, 0, 100}, 1), In({90, 0, 100}, kept), In({91, 0, 100}, 0)),
        // The percentage is divided first: 100 * (7 / 100) is above 7.
        Both("LowerLimit", "WDDD", With(7.), In({-1, 100, 0}, 1), In({7.000000000000001, 100, 0}, kept)),
        // A refused Initialize turns the hysteresis in use, 10 % of 200, into a percentage.
        Both("UpperLimit", "WDDD", With(10.), In({201, 200, 0}, 1), In({190, 200, 0}, kept),
             Init(With(1.0, 1.0), false), In({161, 200, 0}, kept), In({159, 200, 0}, 0)),
    });
}

TEST(Limits, NoValueAndResetForgetThatTheLimitWasExceeded) {
    for (const Step& noValue : {In({none, absent, 0}, marker), In({11, none, 0}, marker), In({11, 10, none}, marker)})
        RunSequences({Aware("UpperLimit", "WDDD", With(50.), In({11, 10, 0}, 1), noValue, In({9, 10, 0}, kept),
                            In({11, 10, 0}, 1), restart, In({0, 10, 0}, kept), In({11, 10, 0}, 1))});
    RunSequences({
        Aware("LowerLimit", "WFF", With(5.f), In({9, 10}, 1), In({9, none}, marker), In({9, 10}, 1)),
        // A plain operation treats a marker, here a NaN, as a number, and does not read the far side of a band
        // needlessly.
        Plain("UpperLimit", "WDD", With(2.), In({none, 10}, kept), In({11, 10}, 1), In({none, 10}, kept)),
        Plain("UpperLimit", "WDDD", With(2.), In({99, 100, absent}, kept), In({101, 100, absent}, 1)),
        Plain("LowerLimit", "WDDD", With(2.), In({1, absent, 0}, kept), In({-1, absent, 0}, 1)),
    });
}

std::vector<std::string> messages;

TEST(Limits, InitializeDemandsTheLetterOfTheRow) {
    SetMessageCallback([](int level, const char* text) { messages.push_back(std::to_string(level) + text); });
    Vel::Channel<std::uint16_t> result;
    Vel::Channel<float> a;
    Vel::Channel<double> b;
    auto narrow = Vel::OperationHandle::Create(false, "LowerLimit", result, a, a);
    auto wide = Vel::OperationHandle::Create(true, "UpperLimit", result, b, b, b);
    EXPECT_TRUE(Initialize(narrow.Get(), "f", 1.0) && Initialize(wide.Get(), "d", 1.0));
    EXPECT_FALSE(Initialize(narrow.Get(), "") || Initialize(narrow.Get(), "d", 1.0) || wide.Initialize(1.f));
    SetMessageCallback(nullptr);
    const std::string start = "2VelOperation.dll : Error in CLimit::Initialize()";
    EXPECT_EQ(messages, (std::vector{start + " type must be Float32", start + ": type must be Float64"}));
}

} // namespace
