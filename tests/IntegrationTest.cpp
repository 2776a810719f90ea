#include "Sequences.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Integration, FixedStepsNeedAPreviousOrAStartingValue) {
    RunInBothForms({
        {"Integral", "DD", plain, With(2.), {In({1}, kept), In({3}, Is(4)), In({5}, Is(8)), restart, In({7}, kept)}},
        {"Integral", "DD", plain, With(2., 1.), {In({3}, Is(4)), In({5}, Is(8)), restart, In({3}, Is(4))}},
        Sequence("IntegralAdd", "DD", plain, With(2.),
                 {In({1}, kept), In({3}, Is(4)), In({5}, Is(12)), Init(With(1., 0., 0.), true), In({1}, Is(15)),
                  restart, In({3}, kept), In({1}, Is(2))}),
        // A starting value survives an Initialize without one, and one given in mid-course replaces the memory.
        Sequence("IntegralAdd", "DD", plain, With(2., 1.),
                 {In({3}, Is(4)), Init(With(1.), true), In({5}, Is(8)), Init(With(1., 0.), true), In({2}, Is(9)),
                  restart, In({2}, Is(1))}),
        {"Integral", "FF", plain, With(1.), {In({16777216}, kept), In({1}, Is(8388608))}},
        {"IntegralAdd", "FF", plain, With(0.1, 0.), {In({2}, Is(0.1f)), In({0}, Is(0.1f + 0.1f)), In({0}, Is(0.2f))}},
        {"UpperIntegral", "DD", plain, With(0.5), {In({4}, Is(2)), restart, Init(With(1., 2.), false), In({6}, Is(3))}},
        {"Differential", "DD", plain, With(2.), {In({1}, kept), In({5}, Is(2)), restart, In({9}, kept)}},
        {"Differential", "FF", plain, With(2., 1.), {In({5}, Is(2)), Init(With(), false), In({5}, Is(0))}},
        Sequence("Differential", "DD", plain, With(1.),
                 {In({1}, kept), Init(With(0.), true), In({9}, refused), Init(With(nan), true), In({7}, refused),
                  Init(With(1.), true), In({4}, Is(3))}),
    });
}

TEST(Integration, TimeChannelsGiveTheStep) {
    RunInBothForms({
        Sequence("Integral", "DDD", plain,
                 {In({1, 10}, kept), In({3, 12}, Is(4)), In({5, 11}, Is(-4)), restart, In({1, 2}, kept)}),
        {"Integral", "DDD", plain, With(1., 10.), {In({3, 12}, Is(4)), restart, In({3, 11}, Is(2))}},
        Sequence("IntegralAdd", "FFF", plain,
                 {In({1, 10}, kept), In({3, 12}, Is(4)), In({5, 13}, Is(8)), Init(With(1.), true), In({5, 14}, Is(13)),
                  restart, In({1, 1}, kept), In({1, 2}, Is(1))}),
        Sequence("UpperIntegral", "DDD", plain,
                 {In({3, 10}, Is(30)), In({3, 12}, Is(6)), Init(With(1., 2.), true), In({3, 13}, Is(39))}),
        Sequence("UpperIntegral", "DDD", plain, With(9.),
                 {In({3, 10}, Is(3)), In({3, 12}, Is(6)), restart, In({3, 10}, Is(3))}),
        Sequence("Differential", "DDD", plain,
                 {In({1, 1}, kept), In({5, 3}, Is(2)), In({9, 3}, refused), In({11, 4}, Is(2)), In({0, 2}, refused),
                  In({3, 3}, Is(3)), restart, In({9, 3}, kept)}),
        {"Differential", "DDD", plain, With(1., 1.), {In({5, 3}, Is(2)), restart, In({5, 3}, Is(2))}},
    });
}

TEST(Integration, SamplesWithoutValueStartOver) {
    RunSequences({
        {"Integral", "DD", aware, With(2., 1.), {In({5}, Is(6)), In({none}, marker), In({3}, Is(4))}},
        Sequence("IntegralAdd", "FF", aware, With(2.),
                 {In({1}, kept), In({3}, Is(4)), In({none}, marker), In({1}, kept), In({3}, Is(4))}),
        {"Differential", "DD", aware, With(0.), {In({none}, marker), In({1}, refused)}},
        {"Differential", "DD", aware, With(2.), {In({1}, kept), In({none}, marker), In({5}, kept), In({9}, Is(2))}},
        {"UpperIntegral", "DD", aware, With(2.), {In({1}, Is(2)), In({none}, marker), In({1}, Is(2))}},
        {"Integral", "DDD", aware, {In({1, 1}, kept), In({1, none}, marker), In({1, 3}, kept), In({1, 4}, Is(1))}},
        {"IntegralAdd", "DDD", aware, With(1., 1.), {In({1, 2}, Is(1)), In({none, 3}, marker), In({1, 2}, Is(1))}},
        {"Differential", "FFF", aware, {In({1, 1}, kept), In({none, 2}, marker), In({1, 1}, kept)}},
        // The exception: the time of the lost sample is not taken either.
        {"UpperIntegral", "DDD", aware, {In({3, 10}, Is(30)), In({none, 11}, marker), In({3, 12}, Is(6))}},
        {"Differential", "DDD", plain, With(1., 1.), {In({1, none}, refused), In({1, 2}, refused), In({3, 3}, Is(2))}},
        {"Integral", "DD", plain, With(2., 1.), {In({none}, Is(nan)), In({1}, Is(nan)), In({1}, Is(2))}},
    });
}

} // namespace
