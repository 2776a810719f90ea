#include "Sequences.h"

#include "signal/ButterworthDesign.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <optional>
#include <random>
#include <vector>

using namespace Sequences;
using namespace Velmarosk::Operation;
using std::numbers::pi;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

using Designer = std::optional<ButterworthDesign> (*)(const ButterworthParameters&) noexcept;

ButterworthParameters At1000(UInt8 order, double corner1, double corner2 = 0) {
    return {.sampleRate = 1000, .order = order, .corner1 = corner1, .corner2 = corner2};
}

void Expect(const std::optional<ButterworthDesign>& design, const std::vector<double>& b, const std::vector<double>& a,
            Place place = Place::Here()) {
    ASSERT_TRUE(design);
    ASSERT_EQ(design->coefficientCount, static_cast<int>(b.size()));
    const auto same = [](double x, double y) { return std::abs(x - y) < 6e-7 || (std::isnan(x) && std::isnan(y)); };
    for (std::size_t i = 0; i < b.size(); ++i)
        if (!same(design->b[i], b[i]) || !same(design->a[i], a[i]))
            ADD_FAILURE_AT(place.file, place.line) << "coefficients " << i << " are " << design->b[i] << " and "
                                                   << design->a[i] << ", and not " << b[i] << " and " << a[i];
}

TEST(ButterworthDesign, KnownCoefficients) {
    Expect(DesignLowPass(At1000(2, 100)), {0.0674553, 0.1349105, 0.0674553}, {1, -1.1429805, 0.4128016});
    Expect(DesignHighPass(At1000(3, 100)), {0.527624, -1.582873, 1.582873, -0.527624},
           {1, -1.760042, 1.182893, -0.278060});
    Expect(DesignBandPass(At1000(1, 100, 200)), {0.245237, 0, -0.245237}, {1, -0.932938, 0.509525});
    Expect(DesignBandPass(At1000(2, 100, 200)), {0.067455274, 0, -0.134910548, 0, 0.067455274},
           {1, -1.942468777, 2.119202397, -1.216651636, 0.412801598});
    Expect(DesignBandStop(At1000(1, 100, 200)), {0.754763, -0.866291, 0.754763}, {1, -0.866291, 0.509525});
    Expect(DesignBandStop(At1000(2, 100, 200)), {0.638945525, -1.466719224, 2.119615891, -1.466719224, 0.638945525},
           {1, -1.803702249, 1.984705343, -1.129736198, 0.412801598});
    EXPECT_EQ(StopBandOf(100, 200).centerFrequency, 150);
    EXPECT_EQ(StopBandOf(100, 200).bandwidth, 100);
}

TEST(ButterworthDesign, CornersAtAndBeyondTheEdges) {
    Expect(DesignLowPass(At1000(2, 500)), {1, 2, 1}, {1, 2, 1});
    for (const Designer design : {DesignLowPass, DesignHighPass}) {
        EXPECT_FALSE(design(At1000(2, 600)) || design(At1000(2, 0)));
        EXPECT_TRUE(design({.sampleRate = -1000, .order = 2, .corner1 = 100}));
        Expect(design({.order = 2}), {nan, nan, nan}, {1, nan, nan});
    }
    for (const Designer design : {DesignBandPass, DesignBandStop}) {
        EXPECT_FALSE(design(At1000(2, 100, 100)) || design(At1000(2, 0, 0.5)) || design(At1000(2, 0.5, 0)));
        EXPECT_TRUE(design(At1000(2, 0, 500)) && design(At1000(2, 0.1, 0.5)) && design(At1000(2, 0.5, 0.1)));
    }
    // Beyond half the rate a corner of the band-pass counts as a quarter of the rate.
    for (const double corner2 : {500, 700})
        Expect(DesignBandPass(At1000(1, 100, corner2)), {0.337540, 0, -0.337540}, {1, -0.675080, 0.324920});
    Expect(DesignBandPass(At1000(1, 100)), {nan, 0, nan}, {1, nan, nan});
    Expect(DesignBandStop(At1000(1, 100, 800)), {nan, nan, nan}, {1, nan, nan});
    const auto unstable = DesignBandStop(At1000(2, 100));
    ASSERT_TRUE(unstable);
    EXPECT_NEAR(unstable->a[1], -4.527453, 6e-7);
    EXPECT_NEAR(unstable->a[4], 2.422471, 6e-7);
}

double Gain(const ButterworthDesign& design, double frequency) {
    std::complex<double> numerator = 0, denominator = 0;
    for (int i = 0; i < design.coefficientCount; ++i) {
        const auto delay = std::polar(1.0, -2 * pi * frequency / 1000 * i);
        numerator += design.b[static_cast<std::size_t>(i)] * delay;
        denominator += design.a[static_cast<std::size_t>(i)] * delay;
    }
    return std::abs(numerator / denominator);
}

TEST(ButterworthDesign, EveryOrderHasTheAnalyticResponse) {
    const auto warp = [](double frequency) { return std::tan(pi * frequency / 1000); };
    const StopBand stop = StopBandOf(120, 260);
    // The prototype's frequency for a frequency: the gain there is 1 / sqrt(1 + w^2n).
    const auto band = [&](double f, double lower, double upper) {
        return (warp(f) * warp(f) - warp(lower) * warp(upper)) / (warp(f) * (warp(upper) - warp(lower)));
    };
    for (UInt8 order = 1; order <= 9; ++order) {
        const int effective = std::min<int>(order, 8); // higher orders are designed as 8
        const auto check = [&](Designer designer, double f, double w) {
            const auto design = designer(At1000(order, 120, 260));
            ASSERT_TRUE(design);
            EXPECT_NEAR(Gain(*design, f), 1 / std::sqrt(1 + std::pow(w * w, effective)), 1e-6)
                << effective << " at " << f;
        };
        for (const double f : {20., 90., 120., 130., 160., 200., 260., 300., 400.}) {
            check(DesignLowPass, f, warp(f) / warp(120));
            check(DesignHighPass, f, warp(120) / warp(f));
            check(DesignBandPass, f, band(f, 120, 260));
            check(DesignBandStop, f, 1 / band(f, stop.lowerEdge, stop.upperEdge));
        }
    }
}

/// The recursion step by step: shift, take, shift, clear, sum.
struct PlainRecursion {
    double Execute(double sample) {
        for (std::size_t i = n; i-- > 1;) {
            x[i] = x[i - 1];
            y[i] = y[i - 1];
        }
        x[0] = sample;
        y[0] = 0.0;
        for (std::size_t i = 0; i < n; ++i)
            y[0] += x[i] * design.b[i] - y[i] * design.a[i];
        return y[0];
    }
    std::size_t n = 0;
    ButterworthDesign design{};
    FilterCoefficients x{}, y{};
};

template <class T>
void RunInLockStep(const char* name, Designer designer, bool noValueAware) {
    std::mt19937 random(6);
    std::uniform_real_distribution<double> real(-1, 1);
    Vel::Channel<T> result, operand(T{5});
    auto operation = Vel::OperationHandle::Create(noValueAware, name, result, operand);
    PlainRecursion reference;
    for (int i = 0; i < 20000; ++i) {
        if (i % 50 == 0) { // redesigns keep the memory, even refused ones
            auto parameters = At1000(static_cast<UInt8>(random() % 9 + 1), 400 * std::abs(real(random)), 450);
            if (i % 500 == 0)
                parameters.corner1 = parameters.corner2 = 600;
            const bool accepted =
                operation.Initialize(256 + parameters.order, 1000.0, -parameters.corner2, -parameters.corner1);
            const auto design = designer(parameters);
            EXPECT_EQ(accepted, design.has_value());
            reference.design = design.value_or(ButterworthDesign{});
            reference.n = static_cast<std::size_t>(reference.design.coefficientCount);
        }
        if (i % 1000 == 999 || !std::isfinite(result.Get())) {
            operation.Reset();
            reference.x = reference.y = {};
        }
        operand = static_cast<T>(i % 3000 == 2000 ? HUGE_VAL : i % 3000 == 2500 ? -0.0 : real(random));
        const bool isLost = random() % 10 == 0;
        if (isLost)
            operand.SetNoValue();
        const bool isSkipped = isLost && noValueAware;
        const T expected = isSkipped ? result.NoValue() : static_cast<T>(reference.Execute(operand.Get()));
        ASSERT_EQ(operation.Execute(), !isSkipped);
        if (std::isnan(expected))
            ASSERT_TRUE(std::isnan(result.Get()));
        else
            ASSERT_TRUE(result.Get() == expected && std::signbit(result.Get()) == std::signbit(expected)) << i;
    }
}

TEST(ButterworthFilters, RunTheRecursionToTheLastBit) {
    for (const bool noValueAware : {false, true}) {
        RunInLockStep<double>("FilterButterworthLowPass", DesignLowPass, noValueAware);
        RunInLockStep<float>("FilterButterworthHighPass", DesignHighPass, noValueAware);
        RunInLockStep<float>("FilterButterworthBandPass", DesignBandPass, noValueAware);
        RunInLockStep<double>("FilterButterworthBandStop", DesignBandStop, noValueAware);
    }
}

TEST(ButterworthFilters, InitializeRefusesAndRemembers) {
    const double first = DesignLowPass(At1000(1, 100))->b[0];
    RunSequences({
        Both("FilterButterworthLowPass", "DD", In({7}, 0), Init(With(1, 1000.), false),
             Init(With(1, 1000., 100., 0., 0.), false), In({7}, 0), restart, Init(With(1, 1000., 100.), true),
             In({1}, first), Init(With(1, 1000., 600.), false), In({1}, 0), restart, Init(With(1, 1000., 100.), true),
             In({1}, first), Init(With(1, 1000.), false), restart, In({1}, first), Init(With(256, 1000., 100.), false),
             In({1}, 0)),
        // A second corner that is not given stays, and is still swapped into the first place.
        Both("FilterButterworthLowPass", "DD", Init(With(1, 1000., 300., -100.), true), In({1}, first), restart,
             Init(With(1, 1000., 400.), true), In({1}, DesignLowPass(At1000(1, 300))->b[0])),
        // Without coefficients the filter still takes the newest input and output.
        Both("FilterButterworthLowPass", "DD", In({4}, 0), Init(With(1, 1000., 500.), true),
             In({0}, 4 * DesignLowPass(At1000(1, 500))->b[1])),
    });
}

} // namespace
