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
    RunInBothForms({
        Sequence("Min", "DD", plain, With(-9., 9., 3),
                 {In({5}, Is(5)), In({1}, Is(1)), In({7}, Is(1)), In({8}, Is(1)), In({9}, Is(7)), In({9.5}, kept),
                  In({-10}, kept), restart, In({10}, refused), In({6}, Is(6))}),
        {"Max", "bb", plain, With(-9, 9, 2), {In({3}, Is(3)), In({3}, Is(3)), In({1}, Is(3)), In({1}, Is(1))}},
        {"Max", "BB", plain, {In({0}, Is(0)), In({200}, Is(200)), In({100}, Is(200)), restart, In({7}, Is(7))}},
        Sequence("Min", "QQ", plain, With(std::uint64_t{5}, std::uint64_t{250}),
                 {In({4}, refused), In({9}, Is(9)), In({5}, Is(5)), In({251}, kept)}),
        // Without a window the newest of equals shows; in one the oldest smallest and the newest largest.
        {"Min", "DD", plain, {In({0.0}, Is(0.0)), In({-0.0}, Is(-0.0)), In({0.0}, Is(0.0))}},
        Sequence("Min", "DD", plain, With(-9., 9., 2),
                 {In({0.0}, Is(0.0)), In({-0.0}, Is(0.0)), In({0.0}, Is(-0.0)), In({1}, Is(0.0))}),
        {"Max", "FF", plain, With(-9., 9., 3), {In({0.0}, Is(0.0)), In({-0.0}, Is(-0.0)), In({-1}, Is(-0.0))}},
        {"Max", "DD", plain, {In({infinity}, refused), In({-highest}, Is(-highest))}},
        {"Min", "DD", plain, {Init(With(1.), false), In({-5}, Is(-5))}},
    });
}

TEST(SlidingWindows, NaNsPassTheBoundsAndHideNothing) {
    RunSequences({
        Sequence("Min", "DD", plain, With(-9., 9., 2),
                 {In({nan}, Is(nan)), In({nan}, Is(nan)), In({nan}, Is(nan)), In({5}, Is(5)), In({nan}, Is(5)),
                  In({nan}, Is(nan)), In({3}, Is(3)), In({4}, Is(3)), In({5}, Is(4))}),
        {"Max", "DD", plain, With(-9., 9.), {In({nan}, refused), In({3}, Is(3)), In({nan}, Is(3))}},
        {"Max", "DD", plain, With(nan, nan), {In({100}, Is(100))}},
        {"Average", "DD", plain, With(1, -9., 9.), {In({nan}, Is(nan)), In({1}, Is(nan)), restart, In({1}, Is(1))}},
    });
}

TEST(SlidingWindows, TwinsOfExtremesShowWhatIsKnownWithoutAWindow) {
    RunSequences({
        {"Min", "ll", aware, {In({none}, refused), In({5}, Is(5)), In({none}, Is(5)), In({6}, Is(5))}},
        Sequence("Min", "ll", aware, With(0, 9, 2),
                 {In({none}, refused), In({5}, Is(5)), In({none}, Is(2147483647)), In({6}, Is(5))}),
        Sequence("Max", "DD", aware, With(0., 9., 2),
                 {In({5}, Is(5)), In({none}, Is(-highest)), In({4}, Is(5)), In({3}, Is(4))}),
        {"Max", "DD", aware, {In({5}, Is(5)), Init(With(0., 9., 2), true), In({3}, Is(3)), In({none}, Is(5))}},
    });
}

TEST(SlidingWindows, AveragesSlideAndRideOutSamplesWithoutValue) {
    RunInBothForms({
        {"Average", "DD", plain, With(2, 0., 9.), {In({2}, Is(2)), In({4}, Is(3)), In({6}, Is(5)), In({10}, Is(5))}},
        Sequence("Average", "ll", plain, With(0, -99, 99),
                 {In({100}, refused), In({2}, Is(2)), In({3}, Is(2)), In({-20}, Is(-5))}),
        {"Average", "bb", plain, {In({-1}, Is(-1)), In({-2}, Is(-1)), restart, In({5}, Is(5))}},
        {"Average", "QQ", plain, {In({18446744073709549568.}, Is(18446744073709549568.))}},
        {"Average", "FF", plain, {In({16777216}, Is(16777216)), In({1}, Is(8388608)), Init(With(1, 2.), false)}},
        // What has left stays in the sum as rounding residue.
        {"Average", "DD", plain, With(2, -1e20, 1e20), {In({1e17}, Is(1e17)), In({1}, Is(5e16)), In({1}, Is(0.5))}},
    });
    const auto limit3 = With(0u, -9., 9., 3u);
    RunSequences({
        Sequence("Average", "DD", plain, limit3,
                 {In({none}, marker), In({2}, Is(2)), In({none}, Is(2)), In({none}, Is(2)), In({none}, marker),
                  In({none}, marker), In({4}, Is(3)), In({none}, Is(3)), In({10}, Is(3)), In({none}, Is(3)),
                  In({none}, Is(3)), In({none}, marker), restart, In({none}, marker)}),
        // A limit of 0 is set, and answered with false; without the fourth value the limit stays.
        Sequence("Average", "DD", plain, limit3,
                 {In({2}, Is(2)), Init(With(0u, -9., 9.), true), In({none}, Is(2)), Init(With(0u, -9., 9., 0u), false),
                  In({none}, Is(nan))}),
        Sequence("Average", "DD", aware, limit3,
                 {In({none}, refused), In({2}, Is(2)), Times(9, {none}, Is(2)), In({4}, Is(3))}),
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
