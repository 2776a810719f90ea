/// The exports, apart from single operations, and the typed header on top of them.

#include "Sequences.h"

#include "core/ValueRef.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <utility>

using namespace Sequences;

namespace {

TEST(Exports, NullHandlesHaveDefinedAnswers) {
    EXPECT_FALSE(Execute(nullptr));
    EXPECT_FALSE(Initialize(nullptr, "D", 1.0));
    EXPECT_FALSE(Terminate(nullptr));
    EXPECT_TRUE(Reset(nullptr));
    EXPECT_TRUE(Dispose(nullptr));
}

TEST(Exports, OperationsWithoutParametersTakeAny) {
    Vel::Channel<float> result, a, b;
    auto operation = Vel::OperationHandle::Create(true, "Plus", result, a, b);
    EXPECT_TRUE(operation.Initialize());
    EXPECT_TRUE(operation.Initialize(1.0, 2u, "text"));
    EXPECT_TRUE(operation.Reset());
    EXPECT_TRUE(operation.Terminate());
}

TEST(Exports, ACallbackMayCreate) {
    static std::vector<std::string> texts;
    static Vel::Channel<double> z, x, y;
    static Vel::OperationHandle inner;
    SetMessageCallback([](int, const char* text) {
        if (texts.empty()) {
            texts.push_back(text);
            EXPECT_FALSE(Vel::OperationHandle::Create(true, "Inner", z, x, y));
            inner = Vel::OperationHandle::Create(true, "Plus", z, x, y);
        }
        texts.push_back(text);
    });
    EXPECT_FALSE(Vel::OperationHandle::Create(true, "Outer", z, x, y));
    SetMessageCallback(nullptr);
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_TRUE(texts[0].ends_with("Outer") && texts[1].ends_with("Inner")) << texts[0] << texts[1];
    EXPECT_EQ(texts[2], texts[0]);
    x = 40;
    y = 2;
    EXPECT_TRUE(inner.Execute());
    EXPECT_EQ(z.Get(), 42);
    inner = {};
}

TEST(Exports, InnerPointersAreFollowedAtEveryCall) {
    Vel::Channel<double> z, x, y;
    auto operation = Vel::OperationHandle::Create(true, "Minus", z, x, y);
    std::array<double, 3> column{5, 6, std::numeric_limits<double>::quiet_NaN()};
    y = 1;
    for (double& sample : column) {
        x.MoveTo(&sample);
        EXPECT_EQ(operation.Execute(), sample == sample);
    }
    EXPECT_TRUE(z.IsNoValue());
    x.MoveTo(&column[1]);
    double elsewhere = 0;
    z.MoveTo(&elsewhere);
    EXPECT_TRUE(operation.Execute());
    EXPECT_EQ(elsewhere, 5);
}

TEST(TypedHeader, ChannelsShowTheirNoValueAtCreationAndKeepTheirSamples) {
    Vel::Channel<std::int32_t> total(-7), step(-9);
    total = 3;
    step = 4;
    auto operation = Vel::OperationHandle::Create(true, "Plus", total, total, step);
    EXPECT_EQ(total.Get(), 3);
    EXPECT_EQ(step.Get(), 4);
    EXPECT_TRUE(operation.Execute());
    step.SetNoValue();
    EXPECT_FALSE(operation.Execute());
    EXPECT_EQ(total.Get(), -7);
}

TEST(TypedHeader, HandlesMoveAndDispose) {
    Vel::Channel<double> z, x, y;
    EXPECT_FALSE(Vel::OperationHandle::Create(true, "Nonsense", z, x, y));
    auto first = Vel::OperationHandle::Create(true, "Plus", z, x, y);
    VelHandle const handle = first.Get();
    Vel::OperationHandle second = std::move(first);
    EXPECT_EQ(second.Get(), handle);
    Vel::OperationHandle third;
    third = std::move(second);
    x = 1;
    y = 2;
    EXPECT_TRUE(third.Execute());
    EXPECT_EQ(z.Get(), 3);
}

TEST(TypedHeader, PacksAFloat32IntoTheLowBitsOfAnArgument) {
    for (const float value : {0.5f, -1e30f, std::numeric_limits<float>::denorm_min()})
        EXPECT_EQ(std::bit_cast<std::uint64_t>(VelPackFloat32(value)), std::bit_cast<std::uint32_t>(value));
}

/// The test for markers is written for speed; this is its rule.
TEST(NoValue, EqualsItsMarkerByTheRuleForEveryPairOfSamples) {
    using namespace Velmarosk::Operation;
    const double odd = std::bit_cast<double>(0xFFF0000000000001u);
    const std::array samples{0.0,   -0.0,
                             1.0,   -1e308,
                             1e308, std::numeric_limits<double>::infinity(),
                             odd,   std::numeric_limits<double>::quiet_NaN()};
    for (double marker : samples) {
        double* current = &marker;
        const ValueRef<double> channel(&current);
        NoValueFlag flag;
        double noValue = 0;
        CaptureNoValue(channel, flag, noValue);
        const double captured = marker;
        for (const double sample : samples) {
            marker = sample;
            EXPECT_EQ(HoldsNoValue(channel, flag, noValue), SampleEquals(sample, captured));
            EXPECT_EQ(SampleEquals(sample, captured), captured != captured ? sample != sample : sample == captured);
        }
    }
}

TEST(TypeCodes, FollowTheLettersAndNothingElse) {
    using Velmarosk::Operation::TypeCodeFromLetter;
    const std::string ordered = "BWLQbwlqFDS";
    for (int character = -128; character < 128; ++character) {
        const auto place = std::string("fds").find(static_cast<char>(character));
        const auto code = place != std::string::npos ? 8 + place : ordered.find(static_cast<char>(character));
        EXPECT_EQ(TypeCodeFromLetter(static_cast<char>(character)),
                  code == std::string::npos ? 0 : static_cast<int>(code) + 1);
    }
}

} // namespace
