#include "Sequences.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Integration, FixedStepsNeedAPreviousOrAStartingValue) {
    RunSequences({
        Both("Integral", "DD", With(2.), In({1}, kept), In({3}, 4), In({5}, 8), restart, In({7}, kept)),
        Both("Integral", "DD", With(2., 1.), In({3}, 4), In({5}, 8), restart, In({3}, 4)),
        Both("IntegralAdd", "DD", With(2.), In({1}, kept), In({3}, 4), In({5}, 12), Init(With(1., 0., 0.), true),
             In({1}, 15), restart, In({3}, kept), In({1}, 2)),
        // A starting value survives an Initialize without one; a later one replaces the memory.
        Both("IntegralAdd", "DD", With(2., 1.), In({3}, 4), Init(With(1.), true), In({5}, 8), Init(With(1., 0.), true),
             In({2}, 9), restart, In({2}, 1)),
        Both("Integral", "FF", With(1.), In({16777216}, kept), In({1}, 8388608)),
        Both("IntegralAdd", "FF", With(0.1, 0.), In({2}, 0.1f), In({0}, 0.1f + 0.1f), In({0}, 0.2f)),
        Both("UpperIntegral", "DD", With(0.5), In({4}, 2), restart, Init(With(1., 2.), false), In({6}, 3)),
        Both("Differential", "DD", With(2.), In({1}, kept), In({5}, 2), restart, In({9}, kept)),
        Both("Differential", "FF", With(2., 1.), In({5}, 2), Init(With(), false), In({5}, 0)),
        Both("Differential", "DD", With(1.), In({1}, kept), Init(With(0.), true), In({9}, refused),
             Init(With(nan), true), In({7}, refused), Init(With(1.), true), In({4}, 3)),
    });
}

TEST(Integration, TimeChannelsGiveTheStep) {
    RunSequences({
        Both("Integral", "DDD", In({1, 10}, kept), In({3, 12}, 4), In({5, 11}, -4), restart, In({1, 2}, kept)),
        Both("Integral", "DDD", With(1., 10.), In({3, 12}, 4), restart, In({3, 11}, 2)),
        Both("IntegralAdd", "FFF", In({1, 10}, kept), In({3, 12}, 4), In({5, 13}, 8), Init(With(1.), true),
             In({5, 14}, 13), restart, In({1, 1}, kept), In({1, 2}, 1)),
        Both("UpperIntegral", "DDD", In({3, 10}, 30), In({3, 12}, 6), Init(With(1., 2.), true), In({3, 13}, 39)),
        Both("UpperIntegral", "DDD", With(9.), In({3, 10}, 3), In({3, 12}, 6), restart, In({3, 10}, 3)),
        Both("Differential", "DDD", In({1, 1}, kept), In({5, 3}, 2), In({9, 3}, refused), In({11, 4}, 2),
             In({0, 2}, refused), In({3, 3}, 3), restart, In({9, 3}, kept)),
        Both("Differential", "DDD", With(1., 1.), In({5, 3}, 2), restart, In({5, 3}, 2)),
    });
}

TEST(Integration, SamplesWithoutValueStartOver) {
    RunSequences({
        Aware("Integral", "DD", With(2., 1.), In({5}, 6), In({none}, marker), In({3}, 4)),
        Aware("IntegralAdd", "FF", With(2.), In({1}, kept), In({3}, 4), In({none}, marker), In({1}, kept), In({3}, 4)),
        Aware("Differential", "DD", With(0.), In({none}, marker), In({1}, refused)),
        Aware("Differential", "DD", With(2.), In({1}, kept), In({none}, marker), In({5}, kept), In({9}, 2)),
        Aware("UpperIntegral", "DD", With(2.), In({1}, 2), In({none}, marker), In({1}, 2)),
        Aware("Integral", "DDD", In({1, 1}, kept), In({1, none}, marker), In({1, 3}, kept), In({1, 4}, 1)),
        Aware("IntegralAdd", "DDD", With(1., 1.), In({1, 2}, 1), In({none, 3}, marker), In({1, 2}, 1)),
        Aware("Differential", "FFF", In({1, 1}, kept), In({none, 2}, marker), In({1, 1}, kept)),
        // The exception: the time of the lost sample is not remembered either.
        Aware("UpperIntegral", "DDD", In({3, 10}, 30), In({none, 11}, marker), In({3, 12}, 6)),
        Plain("Differential", "DDD", With(1., 1.), In({1, none}, refused), In({1, 2}, refused), In({3, 3}, 2)),
        Plain("Integral", "DD", With(2., 1.), In({none}, nan), In({1}, nan), In({1}, 2)),
    });
}

} // namespace
