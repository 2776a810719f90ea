/// Mathematics of one operand, comparison, logic and bits.

#include "Sequences.h"
#include "checks/Samples.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

using namespace Sequences;
using namespace VelChecks;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(UnaryMathematics, EachNameIsItsFunctionAtThePrecisionOfTheType) {
    struct Function {
        const char* name;
        double (*wide)(double);
        float (*narrow)(float);
        bool isGuarded = true;
    };
    const Function functions[] = {
        {"Sin", sin, sinf},
        {"Cos", cos, cosf},
        {"Tan", tan, tanf},
        {"ArcSin", asin, asinf},
        {"ArcCos", acos, acosf},
        {"ArcTan", atan, atanf},
        {"Sinh", sinh, sinhf},
        {"Cosh", cosh, coshf},
        {"Tanh", tanh, tanhf},
        {"Exp", exp, expf},
        {"Ln", log, logf},
        {"Log", log10, log10f},
        {"Sqrt", sqrt, sqrtf},
        {"Floor", floor, floorf},
        {"Ceil", ceil, ceilf},
        {"Power10", [](double x) { return std::function(pow)(10.0, x); },
         [](float x) { return std::function(powf)(10.0f, x); }},
        {"Round", [](double x) { return floor(x + 0.5); }, [](float x) { return floorf(x + 0.5f); }},
        {"Negate", [](double x) { return -x; }, [](float x) { return -x; }, false},
        {"Abs", fabs, fabsf, false},
        {"Sign", [](double x) { return x > 0    ? 1.0
                                       : x == 0 ? 0.0
                                                : -1.0; },
         [](float x) { return x > 0    ? 1.0f
                              : x == 0 ? 0.0f
                                       : -1.0f; }, false},
    };
    std::vector<double> samples = EdgeSamples<double>();
    for (const double more : {0.1, 0.3, 0.9, 7.7, 37.5, 88.8, 400.0, std::numbers::pi / 2, 8388609.0, 0.49999997})
        samples.insert(samples.end(), {more, -more});
    for (const Function& function : functions) {
        std::vector<Step> wide, narrow;
        for (const double sample : samples) {
            const double value = function.wide(sample);
            wide.push_back(In({sample}, !function.isGuarded || std::isfinite(value) ? Expected(value) : refused));
            const double narrowValue = static_cast<double>(function.narrow(static_cast<float>(sample)));
            narrow.push_back(
                In({sample}, !function.isGuarded || std::isfinite(narrowValue) ? Expected(narrowValue) : refused));
        }
        RunSequences({Plain(function.name, "DD", wide), Plain(function.name, "FF", narrow)});
    }
}

TEST(UnaryMathematics, NegateKeepsTheSignOfANaN) {
    Vel::Channel<double> result, operand;
    auto negate = Vel::OperationHandle::Create(false, "Negate", result, operand);
    operand = std::bit_cast<double>(0x7FF8000000000123u);
    EXPECT_TRUE(negate.Execute());
    EXPECT_EQ(std::bit_cast<std::uint64_t>(result.Get()), 0x7FF8000000000123u);
}

TEST(UnaryMathematics, NoValueIsToldFromRefusal) {
    RunSequences({
        Aware("Sqrt", "DD", In({-1}, marker), In({-2}, refused), In({4}, 2)).Markers({-1}),
        Plain("Sqrt", "DD", In({-1}, refused), In({0}, 0)).Markers({-1}),
        Aware("Ln", "FF", In({none}, marker), In({0}, refused), In({1}, 0)),
    });
}

TEST(Comparison, IsThatOfTheLanguage) {
    ForEachType(AllSampleTypes(), [](auto type) {
        using T = decltype(type);
        struct Relation {
            const char* name;
            std::function<bool(T, T)> holds;
        };
        const Relation relations[] = {{"Equal", std::equal_to<T>()},
                                      {"Unequal", std::not_equal_to<T>()},
                                      {"GreaterThan", std::greater<T>()},
                                      {"LessThan", std::less<T>()},
                                      {"GreaterThanOrEqual", std::greater_equal<T>()},
                                      {"LessThanOrEqual", std::less_equal<T>()}};
        for (const Relation& relation : relations) {
            Vel::Channel<std::uint16_t> result;
            Vel::Channel<T> a(T{3}), b(T{3});
            auto plainForm = Vel::OperationHandle::Create(false, relation.name, result, a, b);
            auto awareForm = Vel::OperationHandle::Create(true, relation.name, result, a, b);
            for (const T x : EdgeSamples<T>()) {
                for (const T y : {x, T{0}, T{1}, static_cast<T>(-1), std::numeric_limits<T>::max()}) {
                    a = x;
                    b = y;
                    ASSERT_TRUE(plainForm.Execute());
                    ASSERT_EQ(result.Get(), relation.holds(x, y) ? 1 : 0) << +x << relation.name << +y;
                    ASSERT_EQ(awareForm.Execute(), x != T{3});
                    ASSERT_EQ(result.Get(), x == T{3} ? 0xFFFF : relation.holds(x, y) ? 1 : 0);
                }
            }
        }
    });
    RunSequences({
        Aware("Equal", "WDD", In({nan, 1}, marker), In({1, 1}, 1)),
        Plain("LessThanOrEqual", "WFF", In({0.0, -0.0}, 1), In({-0.0, 0.0}, 1), In({nan, nan}, 0)),
    });
}

TEST(LogicAndBits, FollowArithmeticIn64Bits) {
    ForEachType(IntegerSampleTypes(), [](auto type) {
        using T = decltype(type);
        constexpr int width = 8 * sizeof(T);
        const auto bits = [](T value) {
            return static_cast<std::uint64_t>(value) & (~std::uint64_t{0} >> (64 - width));
        };
        const auto count = [&](T value) { return static_cast<int>(std::min<std::uint64_t>(bits(value), 64)); };
        const auto bit = [&](T value, T index) {
            if (count(index) >= width)
                return false;
            if (width < 64)
                return (bits(value) >> count(index) & 1) != 0;
            const int place = count(index) % 32;
            return (place == 31 ? bits(value) >> 31 : bits(value) >> place & 1) != 0;
        };
        struct Operation {
            const char* name;
            std::function<std::uint64_t(T, T)> value;
        };
        const Operation operations[] = {
            {"LogicalAnd", [](T a, T b) { return a && b; }},
            {"LogicalOr", [](T a, T b) { return a || b; }},
            {"LogicalXOr", [&](T a, T b) { return std::same_as<T, std::uint32_t> ? bits(a) + bits(b) : !a != !b; }},
            {"BitwiseAnd", [&](T a, T b) { return bits(a) & bits(b); }},
            {"BitwiseOr", [&](T a, T b) { return bits(a) | bits(b); }},
            {"BitwiseXOr", [&](T a, T b) { return bits(a) ^ bits(b); }},
            {"BitwiseShiftLeft", [&](T a, T b) { return count(b) < width ? bits(a) << count(b) : 0; }},
            {"BitwiseShiftRight",
             [&](T a, T b) -> std::uint64_t {
                 if (count(b) >= width)
                     return 0;
                 return std::signed_integral<T> ? static_cast<std::uint64_t>(static_cast<std::int64_t>(a) >> count(b))
                                                : bits(a) >> count(b);
             }},
        };
        Vel::Channel<T> result, a, b;
        Vel::Channel<std::uint16_t> truth;
        const std::vector<T> counts{T{0}, T{1}, T{7}, T{8}, T{31}, T{32}, T{63}, T{64}, static_cast<T>(-1)};
        auto testMask = Vel::OperationHandle::Create(false, "TestMask", truth, a, b);
        auto testMask2 = Vel::OperationHandle::Create(false, "TestMask", truth, a);
        auto testBit = Vel::OperationHandle::Create(false, "TestBit", truth, a, b);
        auto complement = Vel::OperationHandle::Create(false, "BitwiseNot", result, a);
        for (const Operation& operation : operations) {
            auto handle = Vel::OperationHandle::Create(false, operation.name, result, a, b);
            for (const T x : EdgeSamples<T>()) {
                a = x;
                ASSERT_TRUE(complement.Execute());
                ASSERT_EQ(bits(result.Get()), bits(static_cast<T>(~bits(x))));
                for (const T y : counts) {
                    b = y;
                    ASSERT_TRUE(handle.Execute());
                    ASSERT_EQ(bits(result.Get()), bits(static_cast<T>(operation.value(x, y))))
                        << operation.name << " " << +x << " " << +y;
                    ASSERT_TRUE(testMask.Execute());
                    ASSERT_EQ(truth.Get(), (bits(x) & bits(y)) != 0);
                    ASSERT_TRUE(testMask2.Initialize(y) && testMask2.Execute());
                    ASSERT_EQ(truth.Get(), (bits(x) & bits(y)) != 0);
                    ASSERT_TRUE(testBit.Execute());
                    ASSERT_EQ(truth.Get(), bit(x, y)) << +x << " " << +y;
                }
            }
        }
    });
}

TEST(LogicAndBits, MasksAreParametersOfTheOperandsWidth) {
    RunSequences({
        Both("LogicalNot", "WW", In({0}, 1), In({2}, 0)),
        Both("TestMask", "WB", In({3}, 0), With(0x0118), In({8}, 1), restart, In({7}, 0), Init(With(), false),
             Init(With(1, 2), false), In({8}, 1)),
    });
}

TEST(LogicAndBits, AFalseOrTrueOperandDecidesNoValueAway) {
    RunSequences({
        Aware("LogicalAnd", "www", In({0, 0}, 0), In({0, 5}, 0), In({0, none}, 0), In({5, 0}, 0), In({5, 7}, 1),
              In({5, none}, marker), In({none, 0}, 0), In({none, 5}, marker), In({none, none}, marker),
              In({0, absent}, 0)),
        Aware("LogicalOr", "QQQ", In({0, 0}, 0), In({0, 5}, 1), In({0, none}, marker), In({5, 0}, 1), In({5, 7}, 1),
              In({5, none}, 1), In({none, 0}, marker), In({none, 5}, 1), In({none, none}, marker), In({5, absent}, 1)),
        Aware("LogicalXOr", "BBB", In({none, 0}, marker), In({1, none}, marker), In({1, 0}, 1)),
        Aware("LogicalXOr", "LLL", In({none, 0}, marker), In({1, 1}, 2)),
        // A marker of 0 is NoValue before it is false; an operand without a marker is never NoValue.
        Aware("LogicalAnd", "BBB", In({0, 1}, marker), In({0, 0}, 0), In({2, 9}, marker)).Markers({0, 9}),
        Aware("LogicalOr", "BBB", In({0, 0}, 0), In({0, 3}, 1)).Markers({absent, absent}),
        Plain("LogicalAnd", "bbb", In({none, none}, 1), In({none, 0}, 0)),
    });
}

} // namespace
