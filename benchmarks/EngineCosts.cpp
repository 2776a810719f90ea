/// What the engine costs on top of its operations: loops over a block, and rows one at a time, each beside a bare loop
/// over Execute that moves the same pointers; and the cost of setting up many channels. Under callgrind each loop is
/// counted by itself (see engine-costs); on its own, the program prints least times.

#include "RandomColumn.h"
#include "engine/Engine.h"

#include <VelOperation.hpp>

#include <valgrind/callgrind.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <vector>

using namespace Vel;

namespace {

constexpr std::size_t rows = 4096;
constexpr std::size_t channels = 20;

/// Two loops that do the same work: bare, and by the engine.
struct Pair {
    std::string title;
    double most; ///< the engine may cost so many times the bare loop
    std::function<void()> bare;
    std::function<void()> engine;
};

void Count(const std::string& label, const std::function<void()>& loop) {
    loop(); // binds symbols, fills windows
    CALLGRIND_START_INSTRUMENTATION;
    loop();
    CALLGRIND_STOP_INSTRUMENTATION;
    CALLGRIND_DUMP_STATS_AT(label.c_str());
}

/// The least time of one of many runs, which take turns.
void Time(const Pair& pair) {
    using Clock = std::chrono::steady_clock;
    constexpr int runs = 2000;
    std::array<double, 2> least{std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    for (int run = 0; run < runs; ++run)
        for (const bool isEngine : {false, true}) {
            const auto start = Clock::now();
            (isEngine ? pair.engine : pair.bare)();
            const std::chrono::duration<double, std::micro> time = Clock::now() - start;
            least[isEngine ? 1 : 0] = std::min(least[isEngine ? 1 : 0], time.count());
        }
    std::printf("%-44s %10.2f us bare %10.2f us engine   ratio %.2f\n", pair.title.c_str(), least[0], least[1],
                least[1] / least[0]);
}

std::string Input(const std::string& name) { return "[[inputs]]\nname = \"" + name + "\"\ntype = \"Float64\"\n"; }

std::string Computed(const std::string& name, const std::string& operation, const std::string& operands,
                     const std::string& parameters) {
    return "[[channels]]\nname = \"" + name + "\"\ntype = \"Float64\"\noperation = \"" + operation +
           "\"\noperands = [" + operands + "]\nparameters = {" + parameters + "}\n";
}

/// One operation over a block of random samples.
template <class... TOperands>
Pair OverABlock(const std::string& title, const std::string& operation, const std::string& parameters,
                const std::function<void(OperationHandle&)>& initialize, TOperands&... operands) {
    std::string plan, names;
    std::vector<Column> columns;
    static std::vector<double> samples = RandomColumn<double>(rows);
    for (std::size_t i = 0; i < sizeof...(operands); ++i) {
        plan += Input("x" + std::to_string(i));
        names += std::string(i == 0 ? "" : ", ") + "\"x" + std::to_string(i) + "\"";
        columns.push_back(Over(samples));
    }
    plan += Computed("z", operation, names, parameters);
    auto run = std::make_shared<Engine::Run>(Engine::ParsePlan(plan, title), rows);
    auto result = std::make_shared<Channel<double>>();
    auto handle =
        std::make_shared<OperationHandle>(OperationHandle::Create(true, operation.c_str(), *result, operands...));
    initialize(*handle);
    static std::vector<double> results(rows);
    return {title, 1.3,
            [handle, result, &operands...] {
                for (std::size_t row = 0; row < rows; ++row) {
                    result->MoveTo(&results[row]);
                    (operands.MoveTo(&samples[row]), ...);
                    Execute(handle->Get());
                }
            },
            [run, columns] { run->Feed(columns, rows); }};
}

/// Twenty sums, row by row, as a live host feeds them.
Pair RowByRow() {
    std::string plan = Input("x");
    for (std::size_t i = 0; i < channels; ++i)
        plan += Computed("z" + std::to_string(i), "Plus", "\"x\", \"x\"", "");
    static std::vector<double> samples = RandomColumn<double>(rows);
    auto run = std::make_shared<Engine::Run>(Engine::ParsePlan(plan, "rows"), 1);
    struct Bare {
        Channel<double> operand;
        std::array<Channel<double>, channels> results;
        std::vector<OperationHandle> handles;
    };
    auto bare = std::make_shared<Bare>();
    for (Channel<double>& result : bare->results)
        bare->handles.push_back(OperationHandle::Create(true, "Plus", result, bare->operand, bare->operand));
    return {"20 channels, one row at a time", 3,
            [bare] {
                for (double& sample : samples) {
                    bare->operand.MoveTo(&sample);
                    for (OperationHandle& handle : bare->handles)
                        Execute(handle.Get());
                }
            },
            [run] {
                for (double& sample : samples) {
                    const Column column{&sample, sizeof sample};
                    run->Feed({&column, 1}, 1);
                }
            }};
}

/// Reads a plan of many inputs and as many sums, and makes it ready.
void SetUp(std::size_t count) {
    std::string plan;
    for (std::size_t i = 0; i < count; ++i)
        plan += Input("x" + std::to_string(i));
    for (std::size_t i = 0; i < count; ++i)
        plan += Computed("z" + std::to_string(i), "Plus",
                         "\"x" + std::to_string(i) + "\", \"x" + std::to_string(i * 7 % count) + "\"", "");
    Engine::Run(Engine::ParsePlan(plan, "many"), 1);
}

} // namespace

int main() {
    Channel<double> x, y;
    const std::vector<Pair> pairs{
        OverABlock(
            "Plus DDD over a block", "Plus", "", [](OperationHandle&) {}, x, y),
        OverABlock(
            "Max DD, window 100, over a block", "Max", "window = 100",
            [](OperationHandle& max) {
                max.Initialize(std::numeric_limits<double>::lowest(), std::numeric_limits<double>::max(), 100u);
            },
            x),
        OverABlock(
            "Low-pass of order 4 over a block", "FilterButterworthLowPass",
            "order = 4, sample_rate = 1000.0, corner1 = 50.0",
            [](OperationHandle& filter) { filter.Initialize(4u, 1000.0, 50.0); }, x),
        RowByRow(),
        {"200 beside 2000 inputs and channels set up", 12, [] { SetUp(200); }, [] { SetUp(2000); }},
    };
    for (const Pair& pair : pairs) {
        if (RUNNING_ON_VALGRIND == 0) {
            if (&pair != &pairs.back())
                Time(pair);
            continue;
        }
        Count(pair.title + "|" + std::to_string(pair.most) + "|bare", pair.bare);
        Count(pair.title + "|" + std::to_string(pair.most) + "|engine", pair.engine);
    }
}
