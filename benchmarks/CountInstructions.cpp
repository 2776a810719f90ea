/// What one sample costs, in instructions: loops over Execute that callgrind counts one by one. Run by
/// count-instructions, which keeps what the library itself has executed.

#include "RandomColumn.h"
#include "VelOperation.hpp"

#include <valgrind/callgrind.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t rounds = 4096; // a power of 2

/// Runs a step many times under the counter, and dumps the count with a label that count-instructions reads.
template <class TStep>
void Count(const std::string& title, TStep step) {
    const auto loop = [&] {
        for (std::size_t i = 0; i < rounds; ++i)
            step(i);
    };
    loop(); // binds symbols and warms up, uncounted
    CALLGRIND_START_INSTRUMENTATION;
    loop();
    CALLGRIND_STOP_INSTRUMENTATION;
    const std::string label = title + "|" + std::to_string(rounds);
    CALLGRIND_DUMP_STATS_AT(label.c_str());
}

/// Executes an operation while the inner pointer of its first operand moves over a column of samples.
template <Vel::Sample T>
void CountExecute(const std::string& title, const Vel::OperationHandle& operation, Vel::Channel<T>& operand,
                  std::vector<T>& column) {
    Count(title, [&](std::size_t i) {
        operand.MoveTo(&column[i & (column.size() - 1)]);
        Execute(operation.Get());
    });
    operand.MoveHome();
}

/// Passes the parameters.
using SetUp = std::function<void(Vel::OperationHandle&)>;

/// Executes the operation `fill` times before it counts, for windows longer than the counted loop.
template <Vel::Sample TResult, Vel::Sample TOperand>
void CountUnary(const std::string& title, bool noValueAware, const char* name, const SetUp& setUp = {},
                std::size_t fill = 0) {
    Vel::Channel<TResult> result;
    Vel::Channel<TOperand> operand;
    auto operation = Vel::OperationHandle::Create(noValueAware, name, result, operand);
    if (setUp)
        setUp(operation);
    auto column = RandomColumn<TOperand>(rounds);
    for (std::size_t i = 0; i < fill; ++i) {
        operand = column[i & (rounds - 1)];
        operation.Execute();
    }
    CountExecute(title, operation, operand, column);
}

template <Vel::Sample TResult, Vel::Sample TOperand>
void CountBinary(const std::string& title, bool noValueAware, const char* name) {
    Vel::Channel<TResult> result;
    Vel::Channel<TOperand> operand1;
    Vel::Channel<TOperand> operand2;
    auto operation = Vel::OperationHandle::Create(noValueAware, name, result, operand1, operand2);
    operand2 = 3;
    auto column = RandomColumn<TOperand>(rounds);
    CountExecute(title, operation, operand1, column);
}

void CountSelection() {
    Vel::Channel<double> result;
    Vel::Channel<std::uint16_t> condition;
    Vel::Channel<double> operand2;
    Vel::Channel<double> operand3;
    auto operation = Vel::OperationHandle::Create(true, "If", result, condition, operand2, operand3);
    operand2 = 1;
    operand3 = 2;
    auto column = RandomColumn<std::uint16_t>(rounds);
    CountExecute("If DWDD, NoValue-aware", operation, condition, column);
}

void CountLogicOverTime() {
    CountUnary<std::uint16_t, double>("PosEdge WD, plain", false, "PosEdge",
                                      [](auto& operation) { operation.Initialize(50.0); });
    Vel::Channel<float> count;
    Vel::Channel<std::uint16_t> event;
    Vel::Channel<std::uint16_t> reset;
    auto events = RandomColumn<std::uint16_t>(rounds);
    CountExecute("Count FWW, plain", Vel::OperationHandle::Create(false, "Count", count, event, reset), event, events);

    Vel::Channel<double> held;
    Vel::Channel<std::uint8_t> clock;
    Vel::Channel<double> data;
    std::vector<std::uint8_t> unchanged(rounds, 1);
    CountExecute("DFF DBD, plain, unchanged clock", Vel::OperationHandle::Create(false, "DFF", held, clock, data),
                 clock, unchanged);

    Vel::Channel<std::uint16_t> exceeded;
    Vel::Channel<double> value;
    Vel::Channel<double> limit;
    auto upperLimit = Vel::OperationHandle::Create(false, "UpperLimit", exceeded, value, limit);
    upperLimit.Initialize(10.0);
    limit = 90;
    auto values = RandomColumn<double>(rounds);
    CountExecute("UpperLimit WDD, plain", upperLimit, value, values);

    const SetUp setCurve = [](auto& operation) {
        [&]<std::size_t... i>(std::index_sequence<i...>) {
            // Ascending from 0 to 100; x and y take turns.
            const auto coordinate = [](std::size_t place) {
                const std::size_t point = place / 2;
                return static_cast<double>(point) * (100.0 / 256) + static_cast<double>(place % 2);
            };
            operation.Initialize(coordinate(i)...);
        }
        (std::make_index_sequence<512>());
    };
    CountUnary<double, double>("Linea DD, plain, 256 points", false, "Linea", setCurve);

    Vel::Channel<double> mapped;
    Vel::Channel<double> rising;
    auto linea = Vel::OperationHandle::Create(false, "Linea", mapped, rising);
    setCurve(linea);
    std::vector<double> sweep(rounds);
    for (std::size_t i = 0; i < rounds; ++i)
        sweep[i] = 100.0 * static_cast<double>(i) / rounds;
    CountExecute("Linea DD, plain, 256 points, slow sweep", linea, rising, sweep);
}

void CountSignalProcessing() {
    const double lowest = std::numeric_limits<double>::lowest();
    const double highest = std::numeric_limits<double>::max();
    for (const unsigned int window : {1000u, 100000u}) {
        CountUnary<double, double>(
            "Max DD, plain, window " + std::to_string(window), false, "Max",
            [&](auto& operation) { operation.Initialize(lowest, highest, window); }, window);
    }
    CountUnary<double, double>("Average DD, plain, window 1000", false, "Average",
                               [&](auto& operation) { operation.Initialize(1000u, lowest, highest); });
    CountUnary<double, double>("GetOldValueN DD, plain, depth 1000", false, "GetOldValueN",
                               [](auto& operation) { operation.Initialize(1000u, 0.0); });
    CountUnary<double, double>("FilterButterworthLowPass DD, plain, order 4", false, "FilterButterworthLowPass",
                               [](auto& operation) { operation.Initialize(4u, 1000.0, 100.0); });
    CountUnary<double, double>("FilterButterworthBandPass DD, plain, order 8", false, "FilterButterworthBandPass",
                               [](auto& operation) { operation.Initialize(8u, 1000.0, 100.0, 200.0); });
}

/// Create and Dispose.
template <Vel::Sample T, Vel::Sample... TOthers>
void CountCreation(const std::string& title, const char* name, Vel::Channel<T>& result,
                   Vel::Channel<TOthers>&... operands) {
    const std::array<char, 8> letters{Vel::Detail::Letter<T>(), Vel::Detail::Letter<TOthers>()..., '\0'};
    Count("Create and Dispose " + title, [&](std::size_t) {
        Dispose(Create(true, name, letters.data(), result.Reference(), operands.Reference()...));
    });
}

} // namespace

int main() {
    CountBinary<double, double>("Plus DDD, plain", false, "Plus");
    CountBinary<double, double>("Plus DDD, NoValue-aware", true, "Plus");
    CountBinary<double, double>("Divide DDD, plain", false, "Divide");
    CountBinary<double, double>("Divide DDD, NoValue-aware", true, "Divide");

    CountBinary<std::uint16_t, double>("Equal WDD, NoValue-aware", true, "Equal");
    CountUnary<std::int32_t, double>("Cast lD, plain", false, "Cast");
    CountSelection();
    CountUnary<double, double>("Sin DD, plain", false, "Sin");

    CountLogicOverTime();
    CountSignalProcessing();

    Vel::Channel<double> x;
    Vel::Channel<double> y;
    Vel::Channel<double> z;
    CountCreation("Plus DDD", "Plus", z, x, y);
    CountCreation("Angle DDD", "Angle", z, x, y);
    CountCreation("DFF DDD", "DFF", z, x, y);
    CountCreation("Statistics DDDD", "Statistics", z, x, y, x);
    CountCreation("FilterButterworthBandStop DD", "FilterButterworthBandStop", z, x);
    Vel::Channel<float> narrow;
    CountCreation("Cast FD", "Cast", narrow, x);
}
