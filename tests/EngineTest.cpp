/// The engine: every row of the vocabulary as a plan in blocks of any sizes, compared with the bare operation; the
/// rules that the engine adds to operations; its errors and warnings.

#include "engine/Engine.h"
#include "checks/Allocations.h"
#include "checks/FakePlatform.h"
#include "checks/Subject.h"
#include "engine/FilterLimits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <numeric>
#include <set>

using namespace VelChecks;
using namespace Vel::Engine;
using Vel::Column, Vel::Over, Vel::Status;

namespace {

/// A row of the vocabulary as a plan.
Plan PlanOf(const Row& row, bool noValueAware, const ParametersByName& parameters) {
    Plan plan;
    const auto channel = [&row](std::size_t i) {
        return Channel{"c" + std::to_string(i), Vel::DefaultNoValue(row.signature[i])};
    };
    const std::size_t results = row.operation->results;
    ComputationPlan computation{"row", std::string(row.operation->name), {}, {}, noValueAware, true, parameters};
    for (std::size_t i = 0; i < row.signature.size(); ++i) {
        if (i < results) {
            computation.results.push_back(channel(i));
        } else {
            plan.inputs.push_back({"row", channel(i)});
            computation.operands.push_back(channel(i).name);
        }
    }
    plan.computations.push_back(computation);
    return plan;
}

using PlanRun = Vel::Engine::Run; // test classes have a member function called Run

constexpr std::size_t length = 300;

/// Samples of all operands, row by row, and the results of the bare operation.
struct Expected {
    std::vector<std::vector<SampleCell>> operands;
    std::vector<std::vector<SampleBits>> results;

    Expected(const Row& row, bool noValueAware, const ParametersByName& parameters, const Choose& choose)
        : operands(row.operation->operands), results(row.operation->results) {
        Subject subject(row, noValueAware);
        EXPECT_TRUE(subject.Initialize(OrderParameters(*row.operation, row.signature.back(), parameters, "row")));
        for (std::size_t i = 0; i < length; ++i) {
            FakePlatform::tickCount = static_cast<std::uint32_t>(i * 50);
            subject.ChooseOperands(choose);
            for (std::size_t operand = 0; operand < operands.size(); ++operand)
                operands[operand].push_back(subject.Operands()[operand]);
            subject.Execute();
            for (std::size_t result = 0; result < results.size(); ++result)
                results[result].push_back(subject.Results()[result]);
        }
    }
};

/// Operations that read the clock get a different time in each row.
bool CanBeCut(const Row& row) { return !row.operation->traits.readsClock; }

/// Feeds all rows in blocks whose lengths come from a function.
void ExpectInBlocks(const Row& row, bool noValueAware, const ParametersByName& parameters, const Expected& expected,
                    bool withStatuses, const std::function<std::size_t()>& blockLength) {
    PlanRun run(PlanOf(row, noValueAware, parameters), length);
    run.MakeStatuses(withStatuses);
    for (std::size_t begin = 0; begin < length;) {
        const std::size_t rows = std::min(blockLength(), length - begin);
        std::vector<Column> columns;
        for (const auto& operand : expected.operands)
            columns.push_back({operand[begin].Address(), sizeof(SampleCell)}); // 8 bytes apart for every type
        run.Feed(columns, rows);
        for (std::size_t result = 0; result < expected.results.size(); ++result)
            for (std::size_t i = 0; i < rows; ++i) {
                const Column column = run.ColumnOf(run.Inputs() + result);
                const SampleBits bits =
                    WithType(row.signature[result], [&]<class T>(T) { return BitsOf(column.At<T>(i)); });
                ASSERT_EQ(bits, expected.results[result][begin + i])
                    << row.Title(noValueAware) << ", row " << begin + i << (withStatuses ? " with statuses" : "");
            }
        begin += rows;
    }
}

/// Calls a function with each form in which a plan may use a row, and with parameters for it.
void ForEachForm(const Choose& choose, const std::function<void(const Row&, bool, const ParametersByName&)>& function) {
    for (const Row& row : AllRows())
        for (const bool noValueAware : {false, true}) {
            const Vel::Twin idle = noValueAware ? Vel::Twin::OnlyPlain : Vel::Twin::OnlyAware;
            if (!CanBeCut(row) || row.operation->traits.twin == idle)
                continue;
            ParametersByName parameters;
            do
                parameters = ChooseParametersByName(row, choose);
            while (!IsComputable(*row.operation, parameters));
            if (noValueAware)
                parameters.erase("no_value_limit");
            function(row, noValueAware, parameters);
        }
}

TEST(Engine, ComputesEveryRowAsTheBareOperationHoweverItIsCut) {
    SeededChoice seeded(5);
    const Choose choose = std::ref(seeded);
    ForEachForm(choose, [&](const Row& row, bool noValueAware, const ParametersByName& parameters) {
        if (testing::Test::HasFatalFailure())
            return;
        const Expected expected(row, noValueAware, parameters, choose);
        ExpectInBlocks(row, noValueAware, parameters, expected, false, [] { return length; });
        ExpectInBlocks(row, noValueAware, parameters, expected, false, [] { return 1u; });
        ExpectInBlocks(row, noValueAware, parameters, expected, true, [&] { return choose(40); });
    });
}

/// The results of the rows from `first` on, each as its bits.
std::vector<SampleBits> ResultsFrom(std::size_t first, PlanRun& run, const Expected& expected,
                                    const std::vector<std::uint8_t>& begins) {
    std::vector<Column> columns;
    for (const auto& operand : expected.operands)
        columns.push_back({operand[first].Address(), sizeof(SampleCell)});
    columns.push_back({&begins[first], 1});
    run.Feed(columns, length - first);
    std::vector<SampleBits> bits;
    for (std::size_t i = 0; i < expected.results.size(); ++i)
        for (std::size_t row = 0; row < length - first; ++row)
            bits.push_back(WithType(run.Channels()[run.Inputs() + i].Type().letter,
                                    [&]<class T>(T) { return BitsOf(run.ColumnOf(run.Inputs() + i).At<T>(row)); }));
    return bits;
}

TEST(Engine, BeginsAnewAsARecordingThatBeginsThere) {
    constexpr std::size_t reset = 117;
    SeededChoice seeded(7);
    const Choose choose = std::ref(seeded);
    std::vector<std::uint8_t> begins(length);
    begins[0] = begins[reset] = 1;
    std::set<std::string> exceptions;
    ForEachForm(choose, [&](const Row& row, bool noValueAware, const ParametersByName& parameters) {
        const Expected expected(row, noValueAware, parameters, choose);
        Plan plan = PlanOf(row, noValueAware, parameters);
        plan.inputs.push_back({"row", {"begins", Vel::DefaultNoValue('B')}});
        PlanRun there(plan, length);
        const std::vector<SampleBits> fresh = ResultsFrom(reset, there, expected, begins);
        plan.computations[0].resetWhen = "begins";
        PlanRun run(plan, length);
        const std::vector<SampleBits> all = ResultsFrom(0, run, expected, begins);
        for (std::size_t i = 0; i < expected.results.size(); ++i)
            for (std::size_t k = 0; k < length - reset; ++k)
                if (all[i * length + reset + k] != fresh[i * (length - reset) + k])
                    exceptions.insert(row.Title(noValueAware));
    });
    EXPECT_EQ(exceptions, std::set<std::string>());
}

const std::string inputs = "[[inputs]]\nname = \"a\"\ntype = \"TYPE\"\n[[inputs]]\nname = \"b\"\ntype = \"TYPE\"\n";

/// A plan with one computation on the inputs a and b of one type.
Plan Single(std::string type, const std::string& operation, const std::string& operands, const std::string& more = "",
            const std::string& resultType = "") {
    std::string text = inputs;
    for (std::size_t at = text.find("TYPE"); at != std::string::npos; at = text.find("TYPE"))
        text.replace(at, 4, type);
    return ParsePlan(text + "[[channels]]\nname = \"z\"\noperation = \"" + operation + "\"\ntype = \"" +
                         (resultType.empty() ? type : resultType) + "\"\noperands = [" + operands + "]\n" + more + "\n",
                     "plan");
}

/// Returns the results as text, followed by the initials of their statuses.
template <class TResult, class T>
std::string Computed(const Plan& plan, const std::vector<T>& a, const std::vector<T>& b) {
    std::string text;
    for (const bool withStatuses : {false, true}) {
        PlanRun run(plan, a.size());
        run.MakeStatuses(withStatuses);
        run.Feed(std::vector<Column>{Over(a), Over(b)}, a.size());
        std::string here;
        for (std::size_t row = 0; row < a.size(); ++row) {
            const auto value = run.ColumnOf(2).At<TResult>(row);
            const bool isNoValue = Vel::IsNoValue(value, std::get<TResult>(run.Channels()[2].noValue));
            here += (row == 0 ? "" : " ") + (isNoValue ? "-" : std::to_string(value));
        }
        if (withStatuses) {
            EXPECT_EQ(here, text) << "with statuses";
            text += " |";
            for (const Status status : run.StatusesOf(0))
                text += " " + std::string(1, Vel::statusTexts[static_cast<std::size_t>(status)][0]);
        } else {
            text = here;
        }
    }
    return text;
}

TEST(Engine, ShowsNoExtremeOverAGap) {
    const std::string window = "no_value = 0\nparameters = { window = 2, upper_bound = 254 }";
    const auto plan = [&](const std::string& operation, const std::string& more) {
        Plan made = Single("UInt8", operation, "\"a\"", more);
        made.inputs[0].channel.noValue = std::uint8_t{0};
        return made;
    };
    // 0 is a missing sample. 255 is out of bounds: it writes nothing, so its row repeats the row before.
    const std::vector<std::uint8_t> samples{7, 0, 255, 9, 255, 0, 0, 254};
    EXPECT_EQ((Computed<std::uint8_t>(plan("Min", window), samples, samples)), "7 - - 7 7 - - 9 | c n n c c n n c");
    EXPECT_EQ((Computed<std::uint8_t>(plan("Min", window + "\nown_result_over_gaps = true"), samples, samples)),
              "7 255 255 7 7 255 255 9 | c c c c c c c c");
    // The highest value counts as data if it is a sample.
    const std::vector<std::uint8_t> highest{255, 0, 255, 255};
    EXPECT_EQ((Computed<std::uint8_t>(plan("Min", "no_value = 0\nparameters = { window = 2 }"), highest, highest)),
              "255 - 255 255 | c n c c");
    // Without a window the extreme so far remains valid.
    EXPECT_EQ((Computed<std::uint8_t>(plan("Max", "no_value = 0"), samples, samples)),
              "7 7 255 255 255 255 255 255 | c c c c c c c c");
    const double none = Vel::defaultNoValue<double>;
    const std::vector<double> numbers{1, none, 5, none};
    EXPECT_EQ((Computed<double>(Single("Float64", "Max", "\"a\"", "parameters = { window = 3 }"), numbers, numbers)),
              "1.000000 - 5.000000 - | c n c n");
}

TEST(Engine, KeepsTheProcessorFromFaulting) {
    constexpr auto lowest = std::numeric_limits<std::int32_t>::lowest();
    constexpr auto lowest64 = std::numeric_limits<std::int64_t>::lowest();
    for (const std::string operation : {"Divide", "Modulo"}) {
        const std::string kept = operation == "Divide" ? "3" : "0";
        EXPECT_EQ((Computed<std::int32_t>(Single("SInt32", operation, "\"a\", \"b\"", "no_value_aware = false"),
                                          std::vector{6, lowest, lowest}, std::vector{2, -1, lowest})),
                  kept + " " + kept + (operation == "Divide" ? " 1" : " 0") + " | c r c");
        EXPECT_EQ((Computed<std::int32_t>(Single("SInt32", operation, "\"a\", \"b\""), std::vector{6, lowest},
                                          std::vector{2, -1})),
                  kept + " - | c n"); // the lowest is NoValue here
        EXPECT_EQ((Computed<std::int64_t>(Single("SInt64", operation, "\"a\", \"b\"", "no_value_aware = false"),
                                          std::vector<std::int64_t>{6, lowest64}, std::vector<std::int64_t>{2, -1})),
                  kept + " " + kept + " | c r");
    }
}

TEST(Engine, WritesIntoNoInput) {
    Plan plan = Single("Float64", "VLinea", "'a'", "parameters = { points = [[0, 1], [10, 2]] }");
    plan.inputs[0].channel.noValue = -1.0;
    const std::vector<double> samples{-1, 10, -1};
    EXPECT_EQ((Computed<double>(plan, samples, samples)), "1.000000 2.000000 1.000000 | c c c");
    EXPECT_EQ(samples, (std::vector<double>{-1, 10, -1}));
}

std::string ErrorOf(const std::function<void()>& function) {
    try {
        function();
    } catch (const Vel::Error& error) {
        return error.Fault();
    }
    return "no error";
}

/// Feeds rows to a plan over Float64 inputs in blocks. Returns the rows of the result as text.
std::string ResultOf(const std::string& text, const std::vector<std::vector<double>>& rows, std::size_t rowsOfBlock) {
    PlanRun run(ParsePlan(text, "plan"), rowsOfBlock);
    run.MakeStatuses(true);
    std::string table;
    const auto take = [&] {
        std::vector<std::string> lines(run.ResultRows());
        std::vector<double> samples(run.ResultRows());
        for (const std::size_t channel : run.Output()) {
            run.CopyResult(channel, samples.data());
            for (std::size_t row = 0; row < lines.size(); ++row) {
                std::array<char, 40> number{};
                std::snprintf(number.data(), number.size(), "%g", samples[row]);
                lines[row] +=
                    (lines[row].empty() ? "" : " ") + std::string(std::isnan(samples[row]) ? "-" : number.data());
            }
        }
        for (std::size_t row = 0; row < lines.size(); ++row)
            table += lines[row] + " @" + std::to_string(run.SourceOf(row)) + "\n";
    };
    for (std::size_t begin = 0; begin < rows.size(); begin += rowsOfBlock) {
        const std::size_t count = std::min(rowsOfBlock, rows.size() - begin);
        std::vector<std::vector<double>> samples(run.Inputs());
        std::vector<Column> columns;
        for (std::size_t input = 0; input < run.Inputs(); ++input) {
            for (std::size_t row = begin; row < begin + count; ++row)
                samples[input].push_back(rows[row][input]);
            columns.push_back(Over(samples[input]));
        }
        run.Feed(columns, count);
        do
            take();
        while (run.Continue());
    }
    if (run.End())
        do
            take();
        while (run.Continue());
    return table;
}

constexpr double gap = std::numeric_limits<double>::quiet_NaN();

std::string InputNamed(const std::string& name, const std::string& more = "") {
    return "[[inputs]]\nname = \"" + name + "\"\ntype = \"Float64\"\n" + more + "\n";
}

TEST(Engine, ComputesARowInItsOrder) {
    // A held input, resets, own last results, refusals and holds; operands get the samples that all others get.
    const std::string plan = InputNamed("v", "hold = 1") + InputNamed("d") +
                             "[compute]\ntotal = \"Max(v, reset_on_change = d)\"\n"
                             "q = \"Divide(v, d, when_refused = no_value, hold = 1)\"\ntwice = \"q + q\"\n"
                             "old = \"GetOldValue(q, reset_when = d)\"\n";
    const std::vector<std::vector<double>> rows{{4, 2},   {1, 0},   {gap, 0}, {gap, 2},
                                                {3, gap}, {6, 3.0}, {7, 3},   {1, -0.0}};
    const std::string expected = "4 2 4 2 4 - @0\n"
                                 "1 0 1 2 4 2 @1\n" // refused and held
                                 "1 0 1 - - - @2\n" // the input is held, q no longer is
                                 "- 2 - - - - @3\n" // reset, without a sample
                                 "3 - 3 - - - @4\n" // a missing sample is no change
                                 "6 3 6 2 4 - @5\n"
                                 "7 3 7 2.33333 4.66667 - @6\n"
                                 "1 -0 1 2.33333 4.66667 2.33333 @7\n";
    for (const std::size_t rowsOfBlock : {1u, 3u, 8u})
        EXPECT_EQ(ResultOf(plan, rows, rowsOfBlock), expected) << rowsOfBlock;
}

TEST(Engine, BringsARecordingOntoARaster) {
    const std::vector<std::vector<double>> rows{{0.5, 10}, {1.25, gap}, {1.25, 20}, {0.75, 99}, {gap, 99},
                                                {2.5, 40}, {2.75, gap}, {6, 50},    {6.5, 60}};
    const auto raster = [](const std::string& more, const std::string& input = "") {
        return "[raster]\ntime = \"t\"\nperiod = 0.5\n" + more + InputNamed("t") + InputNamed("v", input) +
               "[compute]\nmost = \"Max(v)\"\n";
    };
    const std::string last =
        "0.5 10 10 @0\n1 10 10 @0\n1.5 20 20 @2\n2 20 20 @2\n2.5 40 40 @5\n3 - 40 @6\n3.5 - 40 @6\n"
        "4 - 40 @6\n4.5 - 40 @6\n5 - 40 @6\n5.5 - 40 @6\n6 50 50 @7\n6.5 60 60 @8\n";
    const std::string lines =
        "0.5 10 10 @0\n1 - 10 @0\n1.5 24 24 @2\n2 32 32 @2\n2.5 40 40 @5\n3 - 40 @6\n3.5 - 40 @6\n"
        "4 - 40 @6\n4.5 - 40 @6\n5 - 40 @6\n5.5 - 40 @6\n6 50 50 @7\n6.5 60 60 @8\n";
    const std::string anew = "1 10 10 @0\n2 20 20 @2\n6 50 50 @7\n";
    for (const std::size_t rowsOfBlock : {1u, 2u, 5u, 20u}) {
        EXPECT_EQ(ResultOf(raster("max_gap = 1\n"), rows, rowsOfBlock), last) << rowsOfBlock;
        EXPECT_EQ(ResultOf(raster("max_gap = 2\n", "resample = \"linear\""), rows, rowsOfBlock), lines) << rowsOfBlock;
        EXPECT_EQ(ResultOf("[raster]\ntime = \"t\"\nperiod = 1\nalign = true\nmax_step = 3\non_step = \"reset\"\n" +
                               InputNamed("t") + InputNamed("v") + "[compute]\nmost = \"Max(v)\"\n",
                           rows, rowsOfBlock),
                  anew)
            << rowsOfBlock;
        EXPECT_EQ(ErrorOf([&] { ResultOf(raster("max_step = \"3 s\"\n"), rows, rowsOfBlock); }),
                  "the time steps by 3.25 s, from 2.75 to 6");
    }
}

TEST(Engine, EndsSamplesOfARasterWhereTheRecordingDoes) {
    const auto onto = [](const std::string& keys, const std::string& input,
                         const std::vector<std::vector<double>>& rows) {
        const std::string plan = "[raster]\ntime = \"t\"\nperiod = " + keys + "\n" + InputNamed("t") +
                                 InputNamed("v", input) + "[compute]\nmost = \"Max(v)\"\n";
        const std::string result = ResultOf(plan, rows, 1);
        EXPECT_EQ(ResultOf(plan, rows, 4), result);
        return result;
    };
    // One row of the raster still gets the sample that a missing cell ends; interpolation ends at once.
    EXPECT_EQ(onto("1", "", {{0, 0}, {0.1, 1}, {0.2, gap}, {0.3, gap}, {3, 6}}),
              "0 0 0 @0\n1 1 1 @3\n2 - 1 @3\n3 6 6 @4\n");
    EXPECT_EQ(onto("1", "resample = \"linear\"", {{0, 0}, {0.1, 1}, {0.2, gap}, {0.3, gap}, {3, 6}}),
              "0 0 0 @0\n1 - 0 @3\n2 - 0 @3\n3 6 6 @4\n");
    // Sums of decimal numbers have rounding errors.
    EXPECT_EQ(onto("0.3", "", {{0, 0}, {0.3, 1}, {0.6, 2}, {0.9, 3}, {1.2, 4}}),
              "0 0 0 @0\n0.3 1 1 @1\n0.6 2 2 @2\n0.9 3 3 @3\n1.2 4 4 @4\n");
    EXPECT_EQ(onto("0.1\nmax_gap = 0.3", "resample = \"linear\"", {{0.3, 3}, {0.6, 6}, {0.9, 9}}),
              "0.3 3 3 @0\n0.4 4 4 @0\n0.5 5 5 @0\n0.6 6 6 @1\n0.7 7 7 @1\n0.8 8 8 @1\n0.9 9 9 @2\n");
    EXPECT_EQ(onto("0.1\nmax_step = 0.1", "", {{0.2, 2}, {0.3, 3}, {0.4, 4}}), "0.2 2 2 @0\n0.3 3 3 @1\n0.4 4 4 @2\n");
}

TEST(Engine, ChoosesRowsOfTheResult) {
    const std::vector<std::vector<double>> rows{{1, 5}, {1, 2}, {gap, 7}, {2, 1}, {2, 3}, {3, 0}};
    const std::string channels = InputNamed("day") + InputNamed("v") + "[compute]\n";
    for (const std::size_t rowsOfBlock : {1u, 2u, 4u, 6u}) {
        EXPECT_EQ(
            ResultOf("[plan]\nrows_before_change = \"day\"\n" + channels + "most = \"Max(v, reset_on_change = day)\"\n",
                     rows, rowsOfBlock),
            "- 7 7 @2\n2 3 3 @4\n3 0 0 @5\n")
            << rowsOfBlock;
        EXPECT_EQ(ResultOf("[plan]\nrows_when = \"v\"\n" + channels + "most = \"Max(v)\"\n", rows, rowsOfBlock),
                  "1 5 5 @0\n1 2 5 @1\n- 7 7 @2\n2 1 7 @3\n2 3 7 @4\n")
            << rowsOfBlock;
    }
}

TEST(Engine, RefusesWhatMakesNoSense) {
    struct Case {
        const char *type, *operation, *operands, *more, *fault;
    };
    const std::string pass = "FilterButterworthLowPass";
    for (const auto& [type, operation, operands, more, fault] : std::initializer_list<Case>{
             {"Float64", "FilterButterworthBandPass", "'a'",
              "parameters = { order = 2, sample_rate = 100, corner1 = 5, corner2 = 50 }",
              "parameter \"corner2\" is not below half of \"sample_rate\", 50"},
             {"Float64", "FilterButterworthBandPass", "'a'",
              "parameters = { order = 2, sample_rate = 100, corner1 = 5, corner2 = 5 }",
              "parameter \"corner2\" is not above \"corner1\", 5"},
             {"Float64", "FilterButterworthLowPass", "'a'",
              "parameters = { order = 8, sample_rate = 1000, corner1 = 2 }",
              "the corners are too near to 0, to half the rate or to each other for a filter of this order"},
             {"Float64", "FilterButterworthBandStop", "'a'",
              "parameters = { order = 6, sample_rate = 1000, corner1 = 10, corner2 = 20 }",
              "the corners are too near to 0, to half the rate or to each other for a filter of this order"},
             {"Float64", "FilterButterworthHighPass", "'a'",
              "parameters = { order = 9, sample_rate = 100, corner1 = 5 }", "parameter \"order\" is above 8"},
             {"Float64", "Differential", "'a'", "parameters = { delta_time = 0 }",
              "parameter \"delta_time\" is not above 0"},
             {"UInt8", "MaskAndShift", "'a'", "parameters = { mask = 0xF00 }",
              "parameter \"mask\" has bits that the operand, of type UInt8, has not"},
             {"SInt16", "Max", "'a'", "parameters = { lower_bound = 5, upper_bound = 4 }",
              "parameter \"upper_bound\" is below \"lower_bound\", 5"},
             {"Float64", "Average", "'a'", "parameters = { no_value_limit = 3 }",
              "parameter \"no_value_limit\" has no effect here"},
             {"Float64", "Linea", "'a'", "parameters = { points = [[0, 0], [nan, 1]] }",
              "parameter \"points\" has a number that is not finite"},
             {"UInt8", "GetOldValueN", "'a'", "parameters = { depth = 0 }", "parameter \"depth\" is below 1"},
             {"Float64", "Valid", "'a', 'b'", "no_value_aware = false", "Valid never computes in this form"},
         })
        EXPECT_EQ(ErrorOf([&, &type = type, &operation = operation, &operands = operands, &more = more] {
                      PlanRun(Single(type, operation, operands, more), 1);
                  }),
                  fault);
    EXPECT_EQ(ErrorOf([] {
                  PlanRun(Single("Float64", "UpperLimit", "'a', 'b'", "parameters = { hysteresis = -1 }", "UInt16"), 1);
              }),
              "parameter \"hysteresis\" is negative");
    const Plan plan = Single("Float64", "Plus", "'a', 'b'");
    PlanRun run(plan, 4);
    const std::vector<double> five(5);
    EXPECT_THROW(run.Feed(std::vector<Column>{Over(five)}, 1), std::invalid_argument);
    EXPECT_THROW(run.Feed(std::vector<Column>{Over(five), Over(five)}, 5), std::invalid_argument);
    EXPECT_THROW(run.PutInto(0, nullptr), std::invalid_argument);
}

TEST(Engine, TakesCurvesAndGearTablesOfAnyLength) {
    constexpr int points = 530000;
    Plan plan = Single("Float64", "Linea", "'a'", "parameters = { points = [[0, 0]] }");
    auto& curve = std::get<std::vector<std::array<double, 2>>>(plan.computations[0].parameters.at("points"));
    for (int x = 1; x < points; ++x)
        curve.push_back({static_cast<double>(x), 2.0 * x});
    const std::vector<double> samples{0.5, points - 1.5, points + 7.0};
    EXPECT_EQ((Computed<double>(plan, samples, samples)), "1.000000 1059997.000000 1059998.000000 | c c c");

    Plan gears =
        ParsePlan("[[inputs]]\nname = \"gate\"\ntype = \"UInt16\"\n[[inputs]]\nname = \"a\"\ntype = \"UInt16\"\n"
                  "[[channels]]\nname = \"gear\"\ntype = \"SInt8\"\noperation = \"Gangermittlung\"\n"
                  "operands = [\"gate\", \"gate\", \"a\"]\nparameters = { tolerance = 0.1, table = [[9000, 1]] }",
                  "gears");
    auto& table = std::get<std::vector<std::array<double, 2>>>(gears.computations[0].parameters.at("table"));
    for (int gear = 1; gear < 3000; ++gear)
        table.push_back({static_cast<double>(gear), static_cast<double>(gear % 100)});
    EXPECT_EQ((Computed<std::int8_t>(gears, std::vector<std::uint16_t>{1, 1}, std::vector<std::uint16_t>{2999, 9000})),
              "99 1 | c c");
}

TEST(Engine, WarnsOfWhatAUserMayNotExpect) {
    const double none = Vel::defaultNoValue<double>;
    const auto warnings = [](const Plan& plan, const std::vector<double>& a, const std::vector<double>& b) {
        PlanRun run(plan, a.size());
        run.MakeStatuses(true);
        const auto feed = [&](std::size_t first, std::size_t rows) {
            const std::vector<Column> columns{{&a[first], 8}, {&b[first], 8}};
            run.Feed(columns, rows);
            while (run.Continue()) {
            }
        };
        feed(0, 2);
        feed(2, a.size() - 2);
        std::string text;
        for (const Warning& warning : run.Warnings())
            text += warning.channel + ": " + warning.what + ", " + std::to_string(warning.firstRow) + ", " +
                    std::to_string(warning.rows) + "\n";
        return text;
    };
    const std::vector<double> gaps{1, 2, none, none, 3, none, 4};
    const std::vector<double> fives(gaps.size(), 5);
    EXPECT_EQ(warnings(Single("Float64", "IntegralAdd", "'a'", "parameters = { delta_time = 1 }"), gaps, fives),
              "z: the total of IntegralAdd starts again from 0 behind a missing sample, 3, 2\n");
    EXPECT_EQ(warnings(Single("Float64", "Integral", "'a'", "parameters = { delta_time = 1 }"), gaps, fives), "");
    EXPECT_EQ(warnings(Single("Float64", "UpperLimit", "'a', 'b'", "parameters = { hysteresis = 2 }", "UInt16"),
                       {6, 6, none, 4, 4, 6, 6}, fives),
              "z: UpperLimit has no value behind a missing sample, until its state next changes, 4, 2\n");
    EXPECT_EQ(warnings(Single("Float64", "Hour", "'a'"), gaps, fives),
              "z: Hour makes a value of a missing sample, 3, 3\n");
    const std::string frame = inputs.substr(0, inputs.find("TYPE")) +
                              "Float64\"\n[[inputs]]\nname = \"b\"\n"
                              "type = \"Float64\"\n[[constants]]\nname = \"none\"\ntype = \"Float64\"\n[compute]\nz = ";
    EXPECT_EQ(warnings(ParsePlan(frame + "\"If(Valid(a), Hour(a), none)\"", "plan"), gaps, fives), "");
    EXPECT_EQ(warnings(ParsePlan(frame + "\"Hour(a) + 1\"", "plan"), gaps, fives),
              "z: Hour makes a value of a missing sample, 3, 3\n");
    for (const char* const guarded : {"Valid(UpperLimit(a, b, hysteresis = 2), 0)", "UpperLimit(a, b, hysteresis = 2)"})
        EXPECT_EQ(warnings(ParsePlan(frame + '"' + guarded + '"', "plan"), {6, 6, none, 4, 4, 6, 6}, fives),
                  guarded[0] == 'V'
                      ? ""
                      : "z: UpperLimit has no value behind a missing sample, until its state next changes, 4, 2\n");
    const std::string raster = frame + "\"b + 1\"\n[raster]\ntime = \"a\"\nperiod = ";
    EXPECT_EQ(
        warnings(ParsePlan(raster + "2", "plan"), {0, 1, 2, 3, 4, 5, 6}, fives),
        "a: rows of the recording come between two of the raster and are not seen; a shorter period sees them, 2, 3\n");
    EXPECT_EQ(warnings(ParsePlan(raster + "1", "plan"), {0, 0.9, 1.1, 1.8, 2.9, 2.9, 4.1}, fives), ""); // jitter
    EXPECT_EQ(warnings(ParsePlan(raster + "1", "plan"), {0, none, 3, 2, 15.5, 13, none}, fives),
              "a: rows of the recording that go back in time are left out, 4, 2\n"
              "a: rows of the recording without a time are left out, 2, 2\n"
              "a: samples more than 10 periods old stand in; max_gap in [raster] ends that, 15, 2\n");
    EXPECT_EQ(warnings(Single("Float64", "MonoFlop", "'a'", "parameters = { duration = 1 }", "UInt16"), gaps, fives),
              "z: MonoFlop reads the clock of this machine, not the time of the recording, 0, 0\n");
}

TEST(Engine, AllocatesNothingInSteadyState) {
    const Plan plan =
        ParsePlan(inputs.substr(0, inputs.find("TYPE")) +
                      "Float64\"\n[[channels]]\nname = \"m\"\n"
                      "operation = \"Max\"\ntype = \"Float64\"\noperands = [\"a\"]\nparameters = { window = 4 }\n"
                      "[[channels]]\nnames = [\"x\", \"y\", \"z\"]\noperation = \"Statistics\"\n"
                      "type = \"Float64\"\noperands = [\"m\"]\n",
                  "plan");
    PlanRun run(plan, 64);
    std::vector<double> samples(64);
    std::iota(samples.begin(), samples.end(), 0.0);
    const Column column = Over(samples);
    for (const bool withStatuses : {false, true}) {
        run.MakeStatuses(withStatuses);
        run.Feed({&column, 1}, 64);
        EXPECT_EQ(Watch(0,
                        [&] {
                            for (int block = 0; block < 10; ++block) {
                                run.Feed({&column, 1}, 64);
                                run.Feed({&column, 1}, 1);
                            }
                            return true;
                        })
                      .allocations,
                  0u);
    }
}

} // namespace
