#include "Sequences.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

using Sequences::Place;

namespace {

/// An operation with its channels; what the results hold is compared after each sample.
template <class T>
struct Watch {
    explicit Watch(bool noValueAware)
        : operation(Vel::OperationHandle::Create(noValueAware, "Statistics", min, max, mean, operand)) {}

    /// All results hold 99 before. A NaN is expected as any NaN.
    void Feed(T sample, bool returned, T itsMin, T itsMax, T itsMean, Place place = Place::Here()) {
        for (auto* result : {&min, &max, &mean})
            result->Set(T{99});
        operand = sample;
        const bool hasReturned = operation.Execute();
        const auto same = [](T a, T b) { return a == b || (a != a && b != b); };
        if (hasReturned != returned || !same(min.Get(), itsMin) || !same(max.Get(), itsMax) ||
            !same(mean.Get(), itsMean))
            ADD_FAILURE_AT(place.file, place.line)
                << +sample << " gives " << hasReturned << " with " << +min.Get() << ", " << +max.Get() << ", "
                << +mean.Get() << ", and not " << returned << " with " << +itsMin << ", " << +itsMax << ", "
                << +itsMean;
    }

    Vel::Channel<T> min{T{1}}, max{T{2}}, mean{T{3}}, operand{T{4}};
    Vel::OperationHandle operation;
};

TEST(Statistics, ExtremesRunOnAndTheMeanSlides) {
    Watch<double> watch(false);
    ASSERT_TRUE(watch.operation.Initialize(3u, -9.0, 9.0));
    EXPECT_FALSE(watch.operation.Initialize(1u, 0.0));
    watch.Feed(10, false, 99, 99, 99);
    watch.Feed(1, true, 1, 1, 1);
    watch.Feed(2, true, 1, 2, 1.5);
    watch.Feed(3, true, 1, 3, 2);
    watch.Feed(4, true, 1, 4, 3); // 4 is the operand's marker, for the twin only
    watch.Feed(-10, true, 99, 99, 3);
    watch.operation.Initialize(0u, -9.0, 9.0);
    watch.Feed(7, true, 1, 7, 4);
    watch.operation.Initialize(2u, -9.0, 9.0); // 2 leaves, the oldest that is held
    watch.Feed(0, true, 0, 7, 3.5);
    watch.operation.Reset();
    watch.Feed(10, false, 99, 99, 99);
    watch.Feed(5, true, 5, 5, 5);
}

TEST(Statistics, OddSamples) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Watch<float> poisoned(false);
    poisoned.operation.Initialize(1u, -9.0f, 9.0f);
    poisoned.Feed(nan, false, 99, 99, nan);
    poisoned.Feed(2, true, 2, 2, nan);
    poisoned.operation.Reset();
    poisoned.Feed(2, true, 2, 2, 2);
    poisoned.operation.Reset();
    poisoned.Feed(nan, false, 99, 99, nan);

    Watch<std::uint8_t> narrow(false);
    ASSERT_TRUE(narrow.operation.Initialize(65537u, std::uint8_t{0}, std::uint8_t{9})); // a length of 32 bits
    narrow.Feed(0, true, 0, 0, 0);
    narrow.Feed(4, true, 0, 4, 2);

    Watch<std::uint64_t> wide(false);
    constexpr std::uint64_t large = 0xC000000000000000u;
    for (int i = 0; i < 9; ++i)
        wide.Feed(large, true, large, large, large);
    wide.Feed(0, true, 0, large, static_cast<std::uint64_t>(27 * 0x1p62 / 10));
}

TEST(Statistics, TwinWritesAllAgainWithoutAValue) {
    Watch<std::int8_t> watch(true);
    watch.Feed(4, false, 99, 99, 99);
    watch.Feed(-1, true, -1, -1, -1);
    watch.Feed(-2, true, -2, -1, -1); // -1.5
    watch.Feed(4, true, -2, -1, -1);
    watch.Feed(8, true, -2, 8, 1);
    watch.operation.Reset();
    watch.Feed(127, true, 127, 127, 127);
}

} // namespace
