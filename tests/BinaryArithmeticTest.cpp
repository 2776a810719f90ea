#include "Sequences.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

using namespace Sequences;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(BinaryArithmetic, IntegersWrapAtTheWidthOfTheirType) {
    RunInBothForms({
        {"Plus", "BBB", plain, {In({200, 100}, Is(44))}},
        {"Plus", "bbb", plain, {In({100, 100}, Is(-56))}},
        {"Plus", "LLL", plain, {In({4294967294., 3}, Is(1))}},
        {"Minus", "WWW", plain, {In({1, 2}, Is(65535))}},
        {"Minus", "www", plain, {In({-32767, 3}, Is(32766))}},
        {"Minus", "QQQ", plain, {In({5, 7}, Is(18446744073709551614.))}},
        {"Multiply", "WWW", plain, {In({65534, 65534}, Is(4))}}, // would overflow a promoted int
        {"Multiply", "www", plain, {In({-300, 300}, Is(-24464))}},
        {"Multiply", "lll", plain, {In({65536, 65536}, Is(0))}},
        {"Multiply", "qqq", plain, {In({4294967296., 2147483648.}, Is(-9223372036854775808.))}},
    });
}

TEST(BinaryArithmetic, DivisionTruncatesAndRefusesAZeroDivisor) {
    RunInBothForms({
        {"Divide", "lll", plain, {In({-7, 2}, Is(-3)), In({7, -2}, Is(-3)), In({1, 0}, refused), In({9, 3}, Is(3))}},
        {"Modulo", "qqq", plain, {In({-7, 2}, Is(-1)), In({7, -2}, Is(1)), In({1, 0}, refused)}},
        {"Divide", "WWW", plain, {In({7, 0}, refused), In({65534, 2}, Is(32767))}},
        {"Divide", "bbb", plain, {In({-127, -1}, Is(127))}},
        {"Divide", "DDD", plain, {In({1, -0.0}, refused), In({1, 0}, refused), In({-1, 4}, Is(-0.25))}},
        {"Divide", "FFF", plain, {In({1e30, 1e-30}, Is(infinity)), In({1, -0.0}, refused)}},
        {"Modulo", "DDD", plain, {In({-7.5, 2}, Is(-1.5)), In({infinity, 2}, Is(nan)), In({3, -0.0}, refused)}},
        {"Modulo", "FFF", plain, {In({5.5, 2}, Is(1.5)), In({1, 0}, refused)}},
    });
    RunSequences({
        // The narrow rows divide in 32 bits: the quotient +128 wraps. A divisor that is a NaN is not 0.
        {"Divide", "bbb", plain, {In({-128, -1}, Is(-128))}},
        {"Modulo", "bbb", plain, {In({-128, -1}, Is(0))}},
        {"Divide", "www", plain, {In({-32768, -1}, Is(-32768))}},
        {"Modulo", "www", plain, {In({-32768, -1}, Is(0))}},
        {"Divide", "DDD", plain, {In({1, nan}, Is(nan)), In({absent, 0}, refused)}},
        {"Modulo", "FFF", plain, {In({1, nan}, Is(nan))}},
    });
}

TEST(BinaryArithmetic, LowestValueDividedByMinusOneFaultsInTheWideRows) {
    for (const char* name : {"Divide", "Modulo"}) {
        Vel::Channel<std::int32_t> result, a, b;
        auto operation = Vel::OperationHandle::Create(false, name, result, a, b);
        a = std::numeric_limits<std::int32_t>::lowest();
        b = -1;
        EXPECT_DEATH(operation.Execute(), "");
    }
}

TEST(BinaryArithmetic, FloatsComputeInTheirOwnType) {
    RunInBothForms({
        {"Plus", "FFF", plain, {In({16777216, 1}, Is(16777216)), In({1e38, 3e38}, Is(infinity))}},
        {"Multiply", "FFF", plain, {In({1e30, 1e30}, Is(infinity))}},
        {"Minus", "DDD", plain, {In({infinity, infinity}, Is(nan)), In({0.3, 0.1}, Is(0.3 - 0.1))}},
        {"Radius", "FFF", plain, {In({3, 4}, Is(5)), In({1e30, 1}, Is(infinity))}},
        {"Radius", "DDD", plain, {In({1e200, 1}, Is(infinity))}},
    });
}

TEST(BinaryArithmetic, MinAndMaxPreferTheFirstOperand) {
    RunSequences({
        {"Min", "bbb", plain, {In({-1, 1}, Is(-1)), In({1, -1}, Is(-1))}},
        {"Max", "BBB", plain, {In({255, 1}, Is(255)), In({1, 255}, Is(255))}},
        {"Min", "DDD", plain, {In({0.0, -0.0}, Is(0.0)), In({-0.0, 0.0}, Is(-0.0)), In({nan, 1}, Is(nan))}},
        {"Max", "DDD", plain, {In({0.0, -0.0}, Is(0.0)), In({-0.0, 0.0}, Is(-0.0)), In({1, nan}, Is(1))}},
        {"Max", "FFF", plain, {In({nan, 1}, Is(nan)), In({1, nan}, Is(1)), In({1, 2}, Is(2))}},
    });
}

TEST(BinaryArithmetic, PowerRefusesWhatIsNotFinite) {
    RunInBothForms({
        {"Power", "FFF", plain, {In({2, 10}, Is(1024)), In({1e30, 2}, refused), In({1e-30, 3}, Is(0))}},
        {"Power",
         "DDD",
         plain,
         {In({0, 0}, Is(1)), In({0, -1}, refused), In({-8, 1.0 / 3}, refused), In({-2, 3}, Is(-8)),
          In({-infinity, 3}, refused)}},
    });
    RunSequences({{"Power", "DDD", plain, {In({nan, 1}, refused), In({nan, 0}, Is(1))}}});
}

TEST(BinaryArithmetic, AngleCountsFullCircleFromTheFirstOperand) {
    RunInBothForms({
        {"Angle",
         "DDD",
         plain,
         {In({1, 0}, Is(0)), In({0, 1}, Is(90)), In({-1, 0}, Is(180)), In({0, -1}, Is(270)), In({1, -0.0}, Is(0)),
          In({1, -1e-12}, Is(360)), In({0, 0}, Is(nan))}},
        {"Angle", "FFF", plain, {In({1, 0}, Is(0)), In({0, -1}, Is(270)), In({1, 1e-12}, Is(0)), In({0, 0}, Is(nan))}},
    });
    // The Float32 row takes the radius in Float32 and everything after it in Float64.
    const float a = 0.3f, b = 0.7f;
    const double cosine = static_cast<double>(a) / static_cast<double>(std::sqrt(a * a + b * b));
    RunSequences({{"Angle",
                   "FFF",
                   plain,
                   {In({0.3, 0.7}, Is(static_cast<float>(std::acos(cosine) * 180.0 / 3.141592653589793)))}},
                  {"Angle", "FFF", plain, {In({1, nan}, Is(nan))}}});
}

TEST(BinaryArithmetic, NoValueComesBeforeTheCalculation) {
    RunSequences({
        {"Plus",
         "DDD",
         aware,
         {In({none, 1}, marker), In({1, none}, marker), In({none, absent}, marker), In({1, 2}, Is(3))}},
        {"Plus", "lll", plain, {In({none, 1}, Is(-2147483647.)), In({none, none}, Is(0))}},
        Sequence{"Divide", "WWW", aware, {In({6, 0}, marker), In({6, 3}, Is(2))}}.Markers({9, 0}),
        Sequence{"Divide", "WWW", aware, {In({6, 0}, refused), In({9, 3}, marker)}}.Markers({9, 8}),
        // Without a marker an operand never is NoValue, and is not looked at for it.
        Sequence{"Plus", "DDD", aware, {In({0, 1}, Is(1)), In({absent, 3}, marker), In({nan, 1}, Is(nan))}}.Markers(
            {absent, 3}),
        // A finite marker leaves NaNs alone and does not tell zeros apart; a NaN marker stands for every NaN.
        Sequence{"Plus", "DDD", aware, {In({-0.0, 1}, marker), In({nan, 1}, Is(nan)), In({2, 1e308}, marker)}}.Markers(
            {0, 1e308}),
        Sequence{"Plus", "FFF", aware, {In({-nan, 1}, marker), In({infinity, 1}, Is(infinity)), In({0, 1}, Is(1))}}
            .Markers({nan, none}),
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

TEST(BinaryArithmetic, OfTwoNaNsTheSecondOperandComesThrough) {
    const auto first = std::bit_cast<double>(0x7FF8000000000001u), second = std::bit_cast<double>(0xFFF8000000000002u);
    for (const char* name : {"Plus", "Multiply"}) {
        for (const bool noValueAware : {false, true}) {
            Vel::Channel<double> result, a(1), b(1);
            auto operation = Vel::OperationHandle::Create(noValueAware, name, result, a, b);
            a = first;
            b = second;
            EXPECT_TRUE(operation.Execute());
            EXPECT_EQ(std::bit_cast<std::uint64_t>(result.Get()), std::bit_cast<std::uint64_t>(second));
        }
    }
}

TEST(BinaryArithmetic, OneChannelMayBeOperandAndResult) {
    Vel::Channel<std::int32_t> total(-1), step;
    auto operation = Vel::OperationHandle::Create(true, "Plus", total, total, step);
    total = 10;
    step = 5;
    EXPECT_TRUE(operation.Execute() && operation.Execute());
    EXPECT_EQ(total.Get(), 20);
}

} // namespace
