#include "Sequences.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <random>
#include <utility>

using namespace Sequences;

namespace {

TEST(OldValues, DelayByOneSample) {
    RunInBothForms({
        Sequence("GetOldValue", "ll", plain, With(9),
                 {In({1}, Is(9)), In({2}, Is(1)), In({3}, Is(2)), restart, In({4}, Is(9))}),
        {"GetOldValue", "BB", plain, With(258), {In({1}, Is(2))}},
        {"GetOldValue", "DD", plain, {In({1}, Is(0)), In({-0.0}, Is(1)), In({2}, Is(-0.0))}},
        // The first output is what stands in the result, also when a value is given later.
        Sequence("GetOldValue", "FF", plain, With(),
                 {ResultHolds(5), In({1}, Is(5)), Init(With(8.), true), In({2}, Is(1)), restart, ResultHolds(6),
                  In({3}, Is(6))}),
        {"GetOldValueN", "QQ", plain, With(), {In({1}, Is(0)), In({2}, Is(1)), In({3}, Is(2))}},
        Sequence(
            "GetOldValueN", "DD", plain, With(3),
            {In({1}, Is(0)), In({2}, Is(0)), In({3}, Is(0)), In({4}, Is(1)), In({5}, Is(2)), restart, In({6}, Is(0))}),
        {"GetOldValueN", "ww", plain, With(0, -7), {In({1}, Is(-7)), In({2}, Is(1))}}, // 0 counts as 1 here
        {"GetOldValueN", "FF", plain, With(2, 7., 9.), {In({1}, Is(7)), In({2}, Is(7)), In({3}, Is(1))}},
        // A delay of no samples stays one, and leaves nothing behind.
        {"GetOldValueN", "DD", plain, With(0), {In({1}, Is(1)), In({2}, Is(2)), Init(With(1), true), In({3}, Is(0))}},
        {"GetOldValueN", "BB", plain, With(4294967295u), {In({1}, Is(0)), In({2}, Is(0))}},
    });
    RunSequences({
        {"GetOldValueN", "ll", aware, With(1), {In({1}, Is(0)), In({none}, marker), In({2}, Is(1)), In({3}, Is(2))}},
        {"GetOldValue", "ll", aware, With(9), {In({none}, marker), In({2}, Is(9)), In({none}, marker), In({3}, Is(2))}},
    });
}

TEST(OldValues, AnyHistoryOfDepthsMatchesAPlainQueue) {
    std::mt19937 engine(4);
    const auto random = [&](unsigned end) { return static_cast<std::uint16_t>(engine() % end); };
    unsigned depth = 1;
    std::size_t filled = 0;
    std::uint16_t initialValue = 0;
    std::deque<std::uint16_t> line;
    Vel::Channel<std::uint16_t> result, operand;
    auto operation = Vel::OperationHandle::Create(false, "GetOldValueN", result, operand);
    for (int i = 0; i < 300000; ++i) {
        if (random(700) == 0) { // depths around the sizes of blocks, longer and shorter than before
            depth = random(2) ? random(1100) : 254u + random(5);
            initialValue = depth == 0 ? std::uint16_t{0} : random(60000);
            depth == 0 ? operation.Initialize(depth) : operation.Initialize(depth, initialValue);
        } else if (random(2500) == 0) {
            operation.Reset();
            line.clear();
            filled = 0;
        }
        operand = random(60000);
        line.push_back(operand.Get());
        const bool isFull = filled == depth;
        const std::uint16_t expected = isFull ? line.front() : initialValue;
        isFull ? line.pop_front() : void(++filled);
        ASSERT_TRUE(operation.Execute());
        ASSERT_EQ(result.Get(), expected) << i;
    }
}

TEST(OldValues, OneChannelAsOperandAndResultIsReadAfterTheWrite) {
    Vel::Channel<double> channel;
    auto operation = Vel::OperationHandle::Create(false, "GetOldValueN", channel, channel);
    operation.Initialize(1, 5.0);
    for (const auto& [sample, expected] : {std::pair{1., 5.}, {2., 1.}, {3., 1.}}) {
        channel = sample;
        EXPECT_TRUE(operation.Execute());
        EXPECT_EQ(channel.Get(), expected);
    }
}

} // namespace
