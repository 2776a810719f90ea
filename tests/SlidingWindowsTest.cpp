#include "Sequences.h"
#include "checks/WindowModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>

using namespace Sequences;
using VelChecks::SampleBits;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double highest = std::numeric_limits<double>::max();

TEST(SlidingWindows, ExtremesFollowTheLastSamples) {
    RunSequences({
        Both("Min", "DD", With(-9., 9., 3), In({5}, 5), In({1}, 1), In({7}, 1), In({8}, 1), In({9}, 7), In({9.5}, kept),
             In({-10}, kept), restart, In({10}, refused), In({6}, 6)),
        Both("Max", "bb", With(-9, 9, 2), In({3}, 3), In({3}, 3), In({1}, 3), In({1}, 1)),
        Both("Max", "BB", In({0}, 0), In({200}, 200), In({100}, 200), restart, In({7}, 7)),
        Both("Min", "QQ", With(std::uint64_t{5}, std::uint64_t{250}), In({4}, refused), In({9}, 9), In({5}, 5),
             In({251}, kept)),
        // Without a window the newest of equals shows; in one the oldest smallest and the newest largest.
        Both("Min", "DD", In({0.0}, 0.0), In({-0.0}, -0.0), In({0.0}, 0.0)),
        Both("Min", "DD", With(-9., 9., 2), In({0.0}, 0.0), In({-0.0}, 0.0), In({0.0}, -0.0), In({1}, 0.0)),
        Both("Max", "FF", With(-9., 9., 3), In({0.0}, 0.0), In({-0.0}, -0.0), In({-1}, -0.0)),
        Both("Max", "DD", In({infinity}, refused), In({-highest}, -highest)),
        Both("Min", "DD", Init(With(1.), false), In({-5}, -5)),
        // Lengths are read in 32 bits.
        Both("Min", "DD", With(-9., 9., 65537u), In({1}, 1), In({5}, 1)),
        Both("Max", "DD", With(-9., 9., 65537u), In({5}, 5), In({1}, 5)),
        Both("Average", "DD", With(65537u, -9., 9.), In({1}, 1), In({5}, 3)),
        Both("Min", "DD", With(-9., 9., 2, 0), In({5}, 5), In({6}, 5), In({7}, 6)), // the fourth is not read
    });
}

TEST(SlidingWindows, SamplesLeaveAtTheEndOfABlockToo) {
    std::vector<Step> steps;
    for (double rising = 0; rising < 128; ++rising) // two blocks of 64 that cannot be left out
        steps.push_back(In({rising}, 0));
    steps.push_back(In({-5}, -5));
    for (double rising = 1000; rising < 1062; ++rising) // to the end of the first block, before what was the 64
        steps.push_back(In({rising}, -5));
    steps.push_back(In({500}, -5));
    RunSequences({Plain("Min", "DD", With(-9e9, 9e9, 128), steps, Times(64, {2000}, -5), In({2000}, 500))});
}

TEST(SlidingWindows, EveryValueOfANarrowTypeMayWait) {
    for (const unsigned window : {200u, 256u, 300u}) {
        Vel::Channel<std::uint8_t> smallest, rising;
        auto operation = Vel::OperationHandle::Create(false, "Min", smallest, rising);
        ASSERT_TRUE(operation.Initialize(std::uint8_t{0}, std::uint8_t{255}, window));
        for (unsigned i = 0; i < 5 * 256; ++i) {
            rising = static_cast<std::uint8_t>(i % 256);
            const unsigned dropped = i % 256 < window ? 0 : i % 256 + 1 - window;
            ASSERT_TRUE(operation.Execute());
            ASSERT_EQ(smallest.Get(), dropped) << "window " << window << ", sample " << i;
        }
    }
}

TEST(SlidingWindows, NaNsPassTheBoundsAndHideNothing) {
    RunSequences({
        Plain("Min", "DD", With(-9., 9., 2), In({nan}, nan), In({nan}, nan), In({nan}, nan), In({5}, 5), In({nan}, 5),
              In({nan}, nan), In({3}, 3), In({4}, 3), In({5}, 4)),
        Plain("Max", "DD", With(-9., 9.), In({nan}, refused), In({3}, 3), In({nan}, 3)),
        Plain("Max", "DD", With(nan, nan), In({100}, 100)),
        Plain("Average", "DD", With(1, -9., 9.), In({nan}, nan), In({1}, nan), restart, In({1}, 1)),
    });
}

TEST(SlidingWindows, TwinsOfExtremesShowWhatIsKnownWithoutAWindow) {
    RunSequences({
        Aware("Min", "ll", In({none}, refused), In({5}, 5), In({none}, 5), In({6}, 5)),
        Aware("Min", "ll", With(0, 9, 2), In({none}, refused), In({5}, 5), In({none}, 2147483647), In({6}, 5)),
        Aware("Max", "DD", With(0., 9., 2), In({5}, 5), In({none}, -highest), In({4}, 5), In({3}, 4)),
        Aware("Max", "DD", In({5}, 5), Init(With(0., 9., 2), true), In({3}, 3), In({none}, 5)),
    });
}

TEST(SlidingWindows, AveragesSlideAndRideOutSamplesWithoutValue) {
    RunSequences({
        Both("Average", "ll", With(0, -99, 99), In({100}, refused), In({2}, 2), In({3}, 2), In({-20}, -5)),
        Both("Average", "bb", In({-1}, -1), In({-2}, -1), restart, In({5}, 5)),
        Both("Average", "QQ", In({18446744073709549568.}, 18446744073709549568.)),
        Both("Average", "FF", In({16777216}, 16777216), In({1}, 8388608), Init(With(1, 2.), false)),
        // What came while there was no window does not leave, and is counted as far as the window goes.
        Both("Average", "DD", With(0, 0., 9.), In({2}, 2), In({4}, 3), With(2, 0., 9.), In({6}, 6), In({8}, 7)),
    });
    const auto limit3 = With(0u, -9., 9., 3u), limit3OfIntegers = With(0u, -9, 9, 3u);
    RunSequences({
        Plain("Average", "DD", limit3, In({none}, marker), In({2}, 2), In({none}, 2), In({none}, 2), In({none}, marker),
              In({none}, marker), In({4}, 3), In({none}, 3), In({10}, 3), In({none}, 3), In({none}, 3),
              In({none}, marker), restart, In({none}, marker)),
        // A limit of 0 is set, and answered with false; without the fourth value the limit stays.
        Plain("Average", "DD", limit3, In({2}, 2), Init(With(0u, -9., 9.), true), In({none}, 2),
              Init(With(0u, -9., 9., 0u), false), In({none}, nan)),
        Aware("Average", "DD", limit3, In({none}, refused), In({2}, 2), Times(9, {none}, 2), In({4}, 3)),
        Plain("Average", "DD", With(0u, -9., 9., 65537u), In({2}, 2), Times(3, {none}, 2)),
        // A limit counts from when it is set, and one that is set anew goes on with the run that it finds.
        Plain("Average", "ll", With(0u, -9, 9), In({2}, 2), Times(4, {none}, 2), limit3OfIntegers, Times(2, {none}, 2),
              Init(With(0u, -9, 9, 5u), true), Times(2, {none}, 2), In({none}, marker), restart, In({4}, 4),
              Times(2, {none}, 4), restart, limit3OfIntegers, In({none}, marker), In({6}, 6), Times(2, {none}, 6),
              In({none}, marker)),
    });
}

/// Random, rising, falling, periodic and constant samples, with ties, zeros of both signs, and NaNs.
SampleBits SampleOf(char letter, unsigned shape, unsigned i, unsigned random) {
    if (shape == 0 && (letter == 'F' || letter == 'D'))
        return VelChecks::WithType(letter, [&]<class T>(T) {
            return random % 50 == 0 ? VelChecks::UsualNoValue(letter) // a NaN
                                    : VelChecks::BitsOf(static_cast<T>(random % 2 == 0 ? 0.0 : -0.0));
        });
    const unsigned shapes[] = {random % 2, random % 200, i % 120, 99 - i / 25 % 100, i * 7 % 100, 50, i, ~i};
    return VelChecks::SampleOf(letter, static_cast<std::int32_t>(shapes[shape]));
}
constexpr unsigned shapes = 8, rising = 6;

/// An operation with its plain account, fed with the same samples.
struct Histories {
    Histories(const VelChecks::Row& itsRow, bool noValueAware)
        : row(itsRow), subject(row, noValueAware), model(VelChecks::WindowModel::Of(row, noValueAware)) {}

    void Initialize(const Vel::Engine::ParametersByName& parameters) {
        const auto ordered =
            Vel::Engine::OrderParameters(*row.operation, row.signature.back(), parameters, row.signature);
        subject.Initialize(ordered);
        model->Initialize(ordered.list);
    }
    void Reset() {
        subject.Reset();
        model->Reset();
    }
    void Execute(SampleBits sample) {
        const SampleBits untouched = VelChecks::SampleOf(row.signature[0], 77);
        std::ranges::fill(subject.Results(), untouched);
        subject.Operands()[0] = sample;
        const auto expected = model->Execute(sample, subject.HasNoValue());
        ASSERT_EQ(subject.Execute(), expected.returned);
        for (std::size_t i = 0; i < subject.Results().size(); ++i) {
            const SampleBits wanted = expected.results[i].value_or(untouched), result = subject.Results()[i];
            ASSERT_TRUE(VelChecks::AreSame(row.signature[i], result, wanted))
                << std::hex << result << " and not " << wanted << " for " << sample;
        }
    }

    const VelChecks::Row row;
    VelChecks::Subject subject;
    std::unique_ptr<VelChecks::WindowModel> model;
};

/// Any history of lengths, resets and lost samples.
TEST(WindowHistories, MatchPlainContainers) {
    std::mt19937 engine(3);
    const auto random = [&](unsigned end) { return static_cast<unsigned>(engine()) % end; };
    for (const VelChecks::Row& row : VelChecks::AllRows())
        for (const bool noValueAware : {false, true}) {
            if (VelChecks::WindowModel::Of(row, noValueAware) == nullptr)
                break;
            Histories histories(row, noValueAware);
            for (unsigned i = 0, shape = 0; i < 15000; ++i) {
                const unsigned event = random(2000);
                if (event == 0) {
                    histories.Reset();
                } else if (event < 5) {
                    const std::int64_t lengths[] = {0, 1, random(8), 64, 254 + random(5), 500, 3000};
                    const bool isLine = row.operation->name == "GetOldValueN"; // whose depth is 1 at least
                    Vel::Engine::ParametersByName parameters{
                        {isLine ? "depth" : "window", std::max<std::int64_t>(lengths[random(7)], isLine ? 1 : 0)}};
                    if (row.operation->name == "Average" && random(2) == 0)
                        parameters["no_value_limit"] = std::int64_t{1 + random(3)};
                    histories.Initialize(parameters);
                } else if (event < 20) {
                    shape = random(shapes);
                }
                const SampleBits noValue = VelChecks::UsualNoValue(row.signature.back());
                histories.Execute(random(50) == 0 ? noValue : SampleOf(row.signature.back(), shape, i, random(1000)));
                if (HasFatalFailure())
                    FAIL() << row.Title(noValueAware) << ", sample " << i;
            }
        }
}

TEST(WindowHistories, MayBeLongerThan16BitsTell) {
    for (const char* name : {"Min", "Max", "GetOldValueN", "Average", "Statistics"}) {
        const bool isStatistics = std::string_view(name) == "Statistics";
        Histories histories({Vel::FindOperations(name).back(), isStatistics ? "DDDD" : "DD"}, false);
        histories.Initialize({{std::string_view(name) == "GetOldValueN" ? "depth" : "window", std::int64_t{70000}}});
        for (unsigned i = 0; i < 150000; ++i) {
            histories.Execute(SampleOf('D', rising + (i > 100000), i, 0));
            if (HasFatalFailure())
                FAIL() << name << ", sample " << i;
        }
    }
}

} // namespace
