#include "Sequences.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <deque>
#include <limits>
#include <random>
#include <set>
#include <type_traits>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double highest = std::numeric_limits<double>::max();

TEST(SlidingWindows, ExtremesFollowTheLastSamples) {
    RunSequences({
        Both("Min", "DD", With(-9., 9., 3), In({5}, 5), In({1}, 1), In({7}, 1), In({8}, 1), In({9}, 7), In({9.5}, kept),
             In({-10}, kept), restart, In({10}, refused), In({6}, 6)),
        Both("Max", "bb", With(-9, 9, 2), In({3}, 3), In({3}, 3), In({1}, 3), In({1}, 1)),
        Both("Max", "BB", In({0}, 0), In({200}, 200), In({100}, 200), restart, In({7}, 7)),
        Both("Min", "QQ", With(std::uint64_t{5}, std::uint64_t{250}), In({4}, refused), In({9}, 9), In({5}, 5),
             In({251}, kept)),
        // Without a window the newest of equals shows; in one the oldest smallest and the newest largest.
        Both("Min", "DD", In({0.0}, 0.0), In({-0.0}, -0.0), In({0.0}, 0.0)),
        Both("Min", "DD", With(-9., 9., 2), In({0.0}, 0.0), In({-0.0}, 0.0), In({0.0}, -0.0), In({1}, 0.0)),
        Both("Max", "FF", With(-9., 9., 3), In({0.0}, 0.0), In({-0.0}, -0.0), In({-1}, -0.0)),
        Both("Max", "DD", In({infinity}, refused), In({-highest}, -highest)),
        Both("Min", "DD", Init(With(1.), false), In({-5}, -5)),
        Both("Min", "DD", With(-9., 9., 2, 0), In({5}, 5), In({6}, 5), In({7}, 6)), // the fourth is not read
    });
}

TEST(SlidingWindows, SamplesLeaveAtTheEndOfABlockToo) {
    std::vector<Step> steps;
    for (double rising = 0; rising < 128; ++rising) // two blocks of 64 that cannot be left out
        steps.push_back(In({rising}, 0));
    steps.push_back(In({-5}, -5));
    for (double rising = 1000; rising < 1062; ++rising) // to the end of the first block, in front of what was the 64
        steps.push_back(In({rising}, -5));
    steps.push_back(In({500}, -5));
    RunSequences({Plain("Min", "DD", With(-9e9, 9e9, 128), steps, Times(64, {2000}, -5), In({2000}, 500))});
}

TEST(SlidingWindows, EveryValueOfANarrowTypeMayWait) {
    for (const unsigned window : {200u, 256u, 300u}) {
        Vel::Channel<std::uint8_t> smallest, rising;
        auto operation = Vel::OperationHandle::Create(false, "Min", smallest, rising);
        ASSERT_TRUE(operation.Initialize(std::uint8_t{0}, std::uint8_t{255}, window));
        for (unsigned i = 0; i < 5 * 256; ++i) {
            rising = static_cast<std::uint8_t>(i % 256);
            const unsigned dropped = i % 256 < window ? 0 : i % 256 + 1 - window;
            ASSERT_TRUE(operation.Execute());
            ASSERT_EQ(smallest.Get(), dropped) << "window " << window << ", sample " << i;
        }
    }
}

TEST(SlidingWindows, NaNsPassTheBoundsAndHideNothing) {
    RunSequences({
        Plain("Min", "DD", With(-9., 9., 2), In({nan}, nan), In({nan}, nan), In({nan}, nan), In({5}, 5), In({nan}, 5),
              In({nan}, nan), In({3}, 3), In({4}, 3), In({5}, 4)),
        Plain("Max", "DD", With(-9., 9.), In({nan}, refused), In({3}, 3), In({nan}, 3)),
        Plain("Max", "DD", With(nan, nan), In({100}, 100)),
        Plain("Average", "DD", With(1, -9., 9.), In({nan}, nan), In({1}, nan), restart, In({1}, 1)),
    });
}

TEST(SlidingWindows, TwinsOfExtremesShowWhatIsKnownWithoutAWindow) {
    RunSequences({
        Aware("Min", "ll", In({none}, refused), In({5}, 5), In({none}, 5), In({6}, 5)),
        Aware("Min", "ll", With(0, 9, 2), In({none}, refused), In({5}, 5), In({none}, 2147483647), In({6}, 5)),
        Aware("Max", "DD", With(0., 9., 2), In({5}, 5), In({none}, -highest), In({4}, 5), In({3}, 4)),
        Aware("Max", "DD", In({5}, 5), Init(With(0., 9., 2), true), In({3}, 3), In({none}, 5)),
    });
}

TEST(SlidingWindows, AveragesSlideAndRideOutSamplesWithoutValue) {
    RunSequences({
        Both("Average", "ll", With(0, -99, 99), In({100}, refused), In({2}, 2), In({3}, 2), In({-20}, -5)),
        Both("Average", "bb", In({-1}, -1), In({-2}, -1), restart, In({5}, 5)),
        Both("Average", "QQ", In({18446744073709549568.}, 18446744073709549568.)),
        Both("Average", "FF", In({16777216}, 16777216), In({1}, 8388608), Init(With(1, 2.), false)),
        // What came while there was no window does not leave, and is counted as far as the window goes.
        Both("Average", "DD", With(0, 0., 9.), In({2}, 2), In({4}, 3), With(2, 0., 9.), In({6}, 6), In({8}, 7)),
    });
    const auto limit3 = With(0u, -9., 9., 3u);
    RunSequences({
        Plain("Average", "DD", limit3, In({none}, marker), In({2}, 2), In({none}, 2), In({none}, 2), In({none}, marker),
              In({none}, marker), In({4}, 3), In({none}, 3), In({10}, 3), In({none}, 3), In({none}, 3),
              In({none}, marker), restart, In({none}, marker)),
        // A limit of 0 is set, and answered with false; without the fourth value the limit stays.
        Plain("Average", "DD", limit3, In({2}, 2), Init(With(0u, -9., 9.), true), In({none}, 2),
              Init(With(0u, -9., 9., 0u), false), In({none}, nan)),
        Aware("Average", "DD", limit3, In({none}, refused), In({2}, 2), Times(9, {none}, 2), In({4}, 3)),
    });
}

/// The samples of a window by value and by age, as they are described, on containers of the standard library.
template <class T, bool isMax>
struct PlainExtreme {
    bool Execute(T sample, T& result) {
        if (windowLength == 0) {
            if (isMax ? sample >= extremeValue : sample <= extremeValue)
                extremeValue = sample, hasValue = true;
            return ExecuteWithoutValue(result);
        }
        hasValue = true;
        if (windowFull) {
            sorted.erase(order.front());
            order.pop_front();
        }
        order.push_back(sorted.insert(sample));
        windowFull = windowFull || order.size() == windowLength;
        result = isMax ? *sorted.rbegin() : *sorted.begin();
        return true;
    }
    bool ExecuteWithoutValue(T& result) const {
        if (hasValue)
            result = extremeValue;
        return hasValue;
    }
    std::uint32_t windowLength = 0;
    bool hasValue = false, windowFull = false;
    T extremeValue = isMax ? std::numeric_limits<T>::lowest() : std::numeric_limits<T>::max();
    std::multiset<T> sorted = {};
    std::deque<typename std::multiset<T>::iterator> order = {};
};

/// A mean as it is described; nothing leaves an empty window.
template <class T>
struct PlainAverage {
    bool Execute(T sample, T& result) {
        if (windowLength != 0) {
            if (count >= windowLength && !window.empty())
                sum -= static_cast<double>(window.front()), window.pop_front();
            window.push_back(sample);
        }
        count += windowLength == 0 || count < windowLength;
        sum += static_cast<double>(sample);
        return ExecuteWithoutValue(result);
    }
    bool ExecuteWithoutValue(T& result) const {
        if (count != 0)
            result = static_cast<T>(sum / static_cast<double>(count));
        return count != 0;
    }
    std::uint32_t windowLength = 0;
    std::uint64_t count = 0;
    double sum = 0;
    std::deque<T> window = {};
};

/// Random, rising, falling, periodic and constant samples, with ties, and zeros of both signs.
template <class T>
T SampleOf(unsigned shape, unsigned i, unsigned random) {
    const double lowest = std::is_signed_v<T> ? -100 : 0;
    const double shapes[] = {random % 200 + lowest, i % 120 + lowest,        99 - i / 25 % 100 + lowest,
                             i * 7 % 100 + lowest,  random % 2 ? 0.0 : -0.0, 50};
    return static_cast<T>(shapes[shape]);
}

/// Compares with a plain reference through any history of window lengths, resets and lost samples.
template <class T, class TPlain, class TInitialize>
void RunInLockStep(const char* name, TInitialize initialize) {
    std::mt19937 engine(3);
    const auto random = [&](unsigned end) { return static_cast<unsigned>(engine()) % end; };
    Vel::Channel<T> result, operand(std::numeric_limits<T>::max());
    auto operation = Vel::OperationHandle::Create(true, name, result, operand);
    TPlain reference;
    T expected = result.Get();
    for (unsigned i = 0, shape = 0; i < 150000; ++i) {
        const unsigned event = random(3000);
        if (event == 0) {
            operation.Reset();
            reference = {.windowLength = reference.windowLength};
        } else if (event < 5) {
            const unsigned lengths[] = {0, 1, random(8), 64, 500, 3000};
            reference.windowLength = lengths[random(6)];
            initialize(operation, reference.windowLength);
        } else if (event < 10) {
            shape = random(6);
        }
        const bool isLost = random(50) == 0;
        operand = isLost ? operand.NoValue() : SampleOf<T>(shape, i, random(1000));
        const bool returned =
            isLost ? reference.ExecuteWithoutValue(expected) : reference.Execute(operand.Get(), expected);
        ASSERT_EQ(operation.Execute(), returned) << name << " at " << i;
        ASSERT_EQ(result.Get(), expected) << name << " at " << i;
        ASSERT_EQ(std::signbit(static_cast<double>(result.Get())), std::signbit(static_cast<double>(expected)));
    }
}

template <class T>
class WindowHistories : public testing::Test {};
using HistoryTypes = testing::Types<double, float, std::uint8_t, std::int16_t, std::uint64_t>;
TYPED_TEST_SUITE(WindowHistories, HistoryTypes);

TYPED_TEST(WindowHistories, MatchPlainContainers) {
    using Limits = std::numeric_limits<TypeParam>;
    const auto boundsFirst = [](auto& operation, unsigned length) {
        operation.Initialize(Limits::lowest(), Limits::max(), length);
    };
    const auto lengthFirst = [](auto& operation, unsigned length) {
        operation.Initialize(length, Limits::lowest(), Limits::max());
    };
    RunInLockStep<TypeParam, PlainExtreme<TypeParam, false>>("Min", boundsFirst);
    RunInLockStep<TypeParam, PlainExtreme<TypeParam, true>>("Max", boundsFirst);
    RunInLockStep<TypeParam, PlainAverage<TypeParam>>("Average", lengthFirst);
}

} // namespace
