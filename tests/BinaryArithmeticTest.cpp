#include "Sequences.h"

#include "core/Arithmetic.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(BinaryArithmetic, IntegersWrapAtTheWidthOfTheirType) {
    RunSequences({
        Both("Plus", "bbb", In({100, 100}, -56)),
        Both("Plus", "LLL", In({4294967294., 3}, 1)),
        Both("Minus", "WWW", In({1, 2}, 65535)),
        Both("Minus", "www", In({-32767, 3}, 32766)),
        Both("Minus", "QQQ", In({5, 7}, 18446744073709551614.)),
        Both("Multiply", "WWW", In({65534, 65534}, 4)), // would overflow a promoted int
        Both("Multiply", "www", In({-300, 300}, -24464)),
        Both("Multiply", "lll", In({65536, 65536}, 0)),
        Both("Multiply", "qqq", In({4294967296., 2147483648.}, -9223372036854775808.)),
    });
}

TEST(BinaryArithmetic, DivisionTruncatesAndRefusesAZeroDivisor) {
    RunSequences({
        Both("Divide", "lll", In({-7, 2}, -3), In({7, -2}, -3), In({1, 0}, refused), In({9, 3}, 3)),
        Both("Modulo", "qqq", In({-7, 2}, -1), In({7, -2}, 1), In({1, 0}, refused)),
        Both("Divide", "WWW", In({7, 0}, refused), In({65534, 2}, 32767)),
        Both("Divide", "bbb", In({-127, -1}, 127)),
        Both("Divide", "DDD", In({1, -0.0}, refused), In({1, 0}, refused), In({-1, 4}, -0.25)),
        Both("Divide", "FFF", In({1e30, 1e-30}, infinity), In({1, -0.0}, refused)),
        Both("Modulo", "DDD", In({-7.5, 2}, -1.5), In({infinity, 2}, nan), In({3, -0.0}, refused)),
        Both("Modulo", "FFF", In({5.5, 2}, 1.5), In({1, 0}, refused)),
        // The narrow rows divide in 32 bits: the quotient +128 wraps. A divisor that is a NaN is not 0.
        Plain("Divide", "bbb", In({-128, -1}, -128)),
        Plain("Modulo", "bbb", In({-128, -1}, 0)),
        Plain("Divide", "www", In({-32768, -1}, -32768)),
        Plain("Modulo", "www", In({-32768, -1}, 0)),
        Plain("Divide", "DDD", In({1, nan}, nan), In({absent, 0}, refused)),
        Plain("Modulo", "FFF", In({1, nan}, nan)),
    });
}

template <class T>
void DivideTheLowestByMinusOne() {
    const T lowest = std::numeric_limits<T>::lowest();
    for (const char* name : {"Divide", "Modulo"}) {
        Vel::Channel<T> result, a, b;
        auto operation = Vel::OperationHandle::Create(false, name, result, a, b);
        a = lowest;
        b = -1;
        if (Velmarosk::Operation::divisionFaults) {
            EXPECT_DEATH(operation.Execute(), "");
        } else {
            EXPECT_TRUE(operation.Execute());
            EXPECT_EQ(result.Get(), *name == 'D' ? lowest : 0);
        }
    }
}

TEST(BinaryArithmetic, LowestValueDividedByMinusOneFaultsOrWrapsInTheWideRows) {
    DivideTheLowestByMinusOne<std::int32_t>();
    DivideTheLowestByMinusOne<std::int64_t>();
}

TEST(BinaryArithmetic, FloatsComputeInTheirOwnType) {
    RunSequences({
        Both("Plus", "FFF", In({16777216, 1}, 16777216), In({1e38, 3e38}, infinity)),
        Both("Multiply", "FFF", In({1e30, 1e30}, infinity)),
        Both("Minus", "DDD", In({infinity, infinity}, nan), In({0.3, 0.1}, 0.3 - 0.1)),
        Both("Radius", "FFF", In({3, 4}, 5), In({1e30, 1}, infinity)),
        Both("Radius", "DDD", In({1e200, 1}, infinity)),
    });
}

TEST(BinaryArithmetic, MinAndMaxPreferTheFirstOperand) {
    RunSequences({
        Plain("Min", "bbb", In({-1, 1}, -1), In({1, -1}, -1)),
        Plain("Max", "BBB", In({255, 1}, 255), In({1, 255}, 255)),
        Plain("Min", "DDD", In({0.0, -0.0}, 0.0), In({-0.0, 0.0}, -0.0), In({nan, 1}, nan)),
        Plain("Max", "DDD", In({0.0, -0.0}, 0.0), In({-0.0, 0.0}, -0.0), In({1, nan}, 1)),
        Plain("Max", "FFF", In({nan, 1}, nan), In({1, nan}, 1), In({1, 2}, 2)),
    });
}

TEST(BinaryArithmetic, PowerRefusesWhatIsNotFinite) {
    RunSequences({
        Both("Power", "FFF", In({2, 10}, 1024), In({1e30, 2}, refused), In({1e-30, 3}, 0)),
        Both("Power", "DDD", In({0, 0}, 1), In({0, -1}, refused), In({-8, 1.0 / 3}, refused), In({-2, 3}, -8),
             In({-infinity, 3}, refused)),
    });
    RunSequences({Plain("Power", "DDD", In({nan, 1}, refused), In({nan, 0}, 1))});
    // In Float32, not through Float64, which would round a few of these to a neighbour.
    Vel::Channel<float> result, a, b;
    auto power = Vel::OperationHandle::Create(false, "Power", result, a, b);
    std::mt19937 random(1);
    for (int i = 0; i < 100000; ++i) {
        a = static_cast<float>(random() % 100000) * 1e-3f;
        b = static_cast<float>(random() % 100000) * 1e-4f;
        const bool hasReturned = power.Execute();
        const float wanted = powf(a.Get(), b.Get());
        ASSERT_TRUE(hasReturned ? result.Get() == wanted : !std::isfinite(wanted))
            << a.Get() << ' ' << b.Get() << ' ' << result.Get() << ' ' << wanted;
    }
}

TEST(BinaryArithmetic, AngleCountsFullCircleFromTheFirstOperand) {
    RunSequences({
        Both("Angle", "DDD", In({1, 0}, 0), In({0, 1}, 90), In({-1, 0}, 180), In({0, -1}, 270), In({1, -0.0}, 0),
             In({1, -1e-12}, 360), In({0, 0}, nan)),
        Both("Angle", "FFF", In({1, 0}, 0), In({0, -1}, 270), In({1, 1e-12}, 0), In({0, 0}, nan)),
    });
    // The Float32 row takes the radius in Float32 and everything after it in Float64.
    const float a = 0.76f, b = 0.26f, radius = std::sqrt(a * a + b * b);
    const double degrees = std::acos(static_cast<double>(a) / static_cast<double>(radius)) * 180 / std::numbers::pi;
    RunSequences({Plain("Angle", "FFF", In({0.76, 0.26}, static_cast<float>(degrees)), In({1, nan}, nan))});
    // To the last digit, that is in this order.
    std::vector<Step> steps;
    for (int i = 1; i < 100; ++i) {
        const double x = std::sqrt(i), y = 7 - 0.1 * i;
        const double angle = std::acos(x / std::sqrt(x * x + y * y)) * 180 / std::numbers::pi;
        steps.push_back(In({x, y}, y >= 0 ? angle : 360 - angle));
    }
    RunSequences({Plain("Angle", "DDD", steps)});
}

TEST(BinaryArithmetic, NoValueComesBeforeTheCalculation) {
    RunSequences({
        Aware("Plus", "DDD", In({none, 1}, marker), In({1, none}, marker), In({none, absent}, marker), In({1, 2}, 3)),
        Plain("Plus", "lll", In({none, 1}, -2147483647.), In({none, none}, 0)),
        Aware("Divide", "WWW", In({6, 0}, marker), restart, In({6, 3}, 2), In({9, 3}, marker)).Markers({9, 0}),
        Aware("Divide", "WWW", In({6, 0}, refused), In({9, 3}, marker)).Markers({9, 8}),
        // Without a marker an operand never is NoValue, and is not looked at for it.
        Aware("Plus", "DDD", In({0, 1}, 1), In({absent, 3}, marker), In({nan, 1}, nan)).Markers({absent, 3}),
        // A finite marker leaves NaNs alone and does not tell zeros apart; a NaN marker stands for every NaN.
        Aware("Plus", "DDD", In({-0.0, 1}, marker), In({nan, 1}, nan), In({2, 1e308}, marker)).Markers({0, 1e308}),
        Aware("Plus", "FFF", In({-nan, 1}, marker), In({infinity, 1}, infinity), In({0, 1}, 1)).Markers({nan, none}),
    });
}

TEST(BinaryArithmetic, ChosenSamplesAndMarkersKeepTheirBits) {
    const auto odd = std::bit_cast<double>(0xFFF4000000001234u); // a signalling NaN with a payload
    Vel::Channel<double> result(odd), a, b;
    auto operation = Vel::OperationHandle::Create(true, "Max", result, a, b);
    b = 1;
    EXPECT_FALSE(operation.Execute());
    EXPECT_EQ(std::bit_cast<std::uint64_t>(result.Get()), std::bit_cast<std::uint64_t>(odd));

    auto blind = Vel::OperationHandle::Create(false, "Max", result, a, b);
    a = odd;
    result = 0;
    EXPECT_TRUE(blind.Execute());
    EXPECT_EQ(std::bit_cast<std::uint64_t>(result.Get()), std::bit_cast<std::uint64_t>(odd));
}

template <class T, class TBits>
void FollowTheNaNRule() {
    constexpr int digits = std::numeric_limits<T>::digits;
    constexpr TBits sign = TBits{1} << (8 * sizeof(T) - 1), quiet = TBits{1} << (digits - 2);
    constexpr TBits inf = std::bit_cast<TBits>(std::numeric_limits<T>::infinity());
    constexpr TBits made = sign | inf | quiet, first = inf | quiet | 1, second = made | 2, signalling = inf | 5;
    constexpr TBits one = std::bit_cast<TBits>(T{1}), negativeInf = sign | inf;
    struct Case {
        const char* name;
        TBits a, b, expected;
    };
    // Plus and Multiply take operand 2 first.
    const Case cases[] = {
        {"Plus", inf, negativeInf, made},
        {"Minus", inf, inf, made},
        {"Multiply", 0, inf, made},
        {"Divide", inf, negativeInf, made},
        {"Modulo", inf, one, made},
        {"Plus", first, second, second},
        {"Multiply", first, second, second},
        {"Minus", second, first, second},
        {"Divide", first, second, first},
        {"Modulo", second, first, second},
        {"Radius", first, second, first},
        {"Plus", signalling, one, signalling | quiet},
        {"Multiply", signalling, second, second},
        {"Minus", first, signalling, first},
        {"Divide", signalling, first, signalling | quiet},
        {"Modulo", one, signalling, signalling | quiet},
        {"Max", signalling, one, signalling},
    };
    for (const auto& [name, a, b, expected] : cases) {
        for (const bool noValueAware : {false, true}) {
            Vel::Channel<T> result, operand1(1.5), operand2(1.5);
            auto operation = Vel::OperationHandle::Create(noValueAware, name, result, operand1, operand2);
            operand1 = std::bit_cast<T>(a);
            operand2 = std::bit_cast<T>(b);
            EXPECT_TRUE(operation.Execute());
            EXPECT_EQ(std::bit_cast<TBits>(result.Get()), expected) << name << std::hex << ' ' << a << ' ' << b;
        }
    }
}

TEST(BinaryArithmetic, NaNsFollowOneRule) {
    FollowTheNaNRule<float, std::uint32_t>();
    FollowTheNaNRule<double, std::uint64_t>();
}

} // namespace
