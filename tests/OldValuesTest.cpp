#include "Sequences.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

using namespace Sequences;

namespace {

TEST(OldValues, DelayByOneSample) {
    RunSequences({
        Both("GetOldValue", "ll", With(9), In({1}, 9), In({2}, 1), In({3}, 2), restart, In({4}, 9)),
        Both("GetOldValue", "BB", With(258), In({1}, 2)),
        Both("GetOldValue", "DD", In({1}, 0), In({-0.0}, 1), In({2}, -0.0)),
        // The first output is what the result holds, even if a value is given later.
        Both("GetOldValue", "FF", With(), ResultHolds(5), In({1}, 5), Init(With(8.), true), In({2}, 1), restart,
             ResultHolds(6), In({3}, 6)),
        Both("GetOldValueN", "QQ", With(), In({1}, 0), In({2}, 1), In({3}, 2)),
        Both("GetOldValueN", "DD", With(3), In({1}, 0), In({2}, 0), In({3}, 0), In({4}, 1), In({5}, 2), restart,
             In({6}, 0)),
        Both("GetOldValueN", "ww", With(0, -7), In({1}, -7), In({2}, 1)), // 0 counts as 1 here
        Both("GetOldValueN", "FF", With(2, 7., 9.), In({1}, 7), In({2}, 7), In({3}, 1)),
        Both("GetOldValueN", "DD", With(3, 7.), In({1}, 7), With(3), In({2}, 0)),
        // A delay of 0 passes samples through and remembers nothing.
        Both("GetOldValueN", "DD", With(0), In({1}, 1), In({2}, 2), Init(With(1), true), In({3}, 0)),
        Both("GetOldValueN", "BB", With(4294967295u), In({1}, 0), In({2}, 0)),
        Both("GetOldValueN", "DD", With(65537u), In({1}, 0), In({2}, 0)),
        Aware("GetOldValueN", "ll", With(1), In({1}, 0), In({none}, marker), In({2}, 1), In({3}, 2)),
        Aware("GetOldValue", "ll", With(9), In({none}, marker), In({2}, 9), In({none}, marker), In({3}, 2)),
    });
}

TEST(OldValues, ALineGrowsWhereverItsOldestSampleStands) {
    constexpr unsigned block = 256;
    for (unsigned slid = 0; slid < 2 * block; ++slid) {
        const unsigned depth = block + 1 + slid % 2;
        constexpr unsigned longer = 3 * block;
        Vel::Channel<std::uint16_t> result, operand;
        auto operation = Vel::OperationHandle::Create(false, "GetOldValueN", result, operand);
        std::uint16_t sample = 0;
        const auto pass = [&](unsigned samples) {
            for (unsigned i = 0; i < samples; ++i) {
                operand = ++sample;
                operation.Execute();
            }
        };
        operation.Initialize(depth);
        pass(depth + slid / 2);
        operation.Initialize(longer);
        pass(longer - depth);
        for (unsigned i = 0; i < longer; ++i) {
            pass(1);
            ASSERT_EQ(result.Get(), sample - longer) << slid;
        }
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
