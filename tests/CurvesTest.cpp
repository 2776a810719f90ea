#include "Sequences.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <random>
#include <span>

using namespace Sequences;

namespace {

TEST(Curves, InterpolateBetweenPointsHoldTheEndsAndRefuseWithoutPoints) {
    const Parameters terminate = [](Vel::OperationHandle& operation) { return operation.Terminate(); };
    RunSequences({
        Both("Linea", "DD", In({1}, refused), Init(With(0., 0., 10., 100.), true), In({-1}, 0), In({5}, 50),
             In({10}, 100), Init(With(0., 6., 1.), false), In({1}, refused), Init(With(0., 7., 2., 9.), true), restart,
             In({1}, 8), Init(terminate, true), In({1}, refused), Init(With(0., 8.), true), In({1}, 8),
             Init(With(), false), In({1}, refused)),
        Both("Linea", "FF", With(0., 0., 5., 1., 5., 2., 10., 3.), In({5}, 2), In({7.5}, 2.5)),
    });
    RunSequences({Aware("Linea", "FF", In({none}, marker), In({1}, refused))});
}

/// The look-up as it is defined, with nothing prepared. Points are pairs of x and y.
template <class T>
T ByDefinition(std::span<const T> points, T v) {
    std::size_t i = 0;
    while (i < points.size() && !(points[i] > v))
        i += 2;
    if (i == 0)
        return points[1];
    if (i == points.size())
        return points.back();
    const T slope = (points[i + 1] - points[i - 1]) / (points[i] - points[i - 2]);
    return (points[i + 1] - points[i] * slope) + v * slope;
}

template <class T, std::size_t... I>
void CompareWithDefinition(std::index_sequence<I...>) {
    std::mt19937 random(5);
    std::uniform_real_distribution<T> anywhere(-3, 3);
    const T nan = std::numeric_limits<T>::quiet_NaN(), infinity = std::numeric_limits<T>::infinity();
    Vel::Channel<T> result, operand;
    auto operation = Vel::OperationHandle::Create(false, "Linea", result, operand);
    for (std::size_t round = 0; round < 400; ++round) {
        std::vector<T> xs(1 + random() % (sizeof...(I) / 2)), operands{nan, infinity, -infinity};
        std::ranges::generate(xs, [&] { return anywhere(random); });
        if (round % 4 != 0)
            std::ranges::sort(xs);
        if (round % 4 >= 2) // some are repeated
            std::ranges::transform(xs, xs.begin(), [](T x) { return std::round(2 * x) / 2; });
        if (round % 4 == 3) // and one is out of order
            xs[random() % xs.size()] = random() % 2 == 0 ? nan : anywhere(random);
        std::array<T, sizeof...(I)> points{};
        for (std::size_t i = 0; i < xs.size(); ++i) {
            points[2 * i] = xs[i];
            points[2 * i + 1] = anywhere(random);
            operands.insert(operands.end(), {xs[i], std::nextafter(xs[i], T{9}), std::nextafter(xs[i], T{-9})});
        }
        // Which NaN comes of a NaN among the points is not promised.
        const bool isAnyNaNRight = std::ranges::any_of(xs, [](T x) { return std::isnan(x); });
        const auto bits = [&](double value) {
            return std::bit_cast<std::uint64_t>(isAnyNaNRight && std::isnan(value) ? double{nan} : value);
        };
        // The length of the signature says how many of the values are read.
        ASSERT_TRUE(Initialize(operation.Get(), std::string(2 * xs.size(), 'D').c_str(), double{points[I]}...));
        for (const T v : operands) {
            operand = v;
            EXPECT_TRUE(operation.Execute());
            const double wanted = ByDefinition<T>(std::span(points).first(2 * xs.size()), v);
            ASSERT_EQ(bits(double{result.Get()}), bits(wanted))
                << xs.size() << " points, round " << round << ", operand " << v;
        }
    }
}

TEST(Curves, EqualTheirDefinitionToTheBit) {
    CompareWithDefinition<float>(std::make_index_sequence<66>());
    CompareWithDefinition<double>(std::make_index_sequence<66>());
}

TEST(Curves, VLineaWritesAZeroOverTheNoValueOfItsOperand) {
    RunSequences({Plain("VLinea", "DD", With(0., 5.), In({1}, refused), In({none}, refused)),
                  Aware("VLinea", "FF", With(0., 0., 9., 9.), In({none}, 9), In({3}, 3))}); // a NaN stays
    Vel::Channel<double> seldom, nanMarked;
    auto untouching = Vel::OperationHandle::Create(true, "VLinea", seldom, nanMarked);
    nanMarked = -0.0;
    EXPECT_FALSE(untouching.Execute());
    EXPECT_TRUE(std::signbit(nanMarked.Get()));
    Vel::Channel<double> result, operand(-999), late;
    auto operation = Vel::OperationHandle::Create(true, "VLinea", result, operand);
    operand = -999;
    EXPECT_FALSE(operation.Execute()); // for want of a curve, but the operand is replaced
    EXPECT_EQ(operand.Get(), 0);
    operand = -999;
    EXPECT_TRUE(operation.Initialize(-1.0, 0.0, 1.0, 2.0) && operation.Execute());
    EXPECT_TRUE(operand.Get() == 0 && result.Get() == 1);

    late.MoveTo(nullptr);
    auto unmarked = Vel::OperationHandle::Create(true, "VLinea", result, late);
    late.MoveHome();
    late = -0.0;
    EXPECT_FALSE(unmarked.Execute() || std::signbit(late.Get())); // without a marker it compares with 0
}

} // namespace
