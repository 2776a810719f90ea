/// The cost of one sample through the export, beside hand-written objects and other libraries. Each figure is named
/// family/form/subject; report.py turns them into ratios.

#include "Alternatives.h"
#include "HandWritten.h"
#include "RandomColumn.h"
#include "VelOperation.hpp"

#include <benchmark/benchmark.h>
#include <x86intrin.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t batch = 4096;                          ///< samples between two looks at the clock
constexpr std::size_t shortColumn = 4096;                    // a power of 2
constexpr std::size_t longColumn = std::size_t{1024} * 1024; // a power of 2
constexpr std::size_t noFill = 0;
constexpr double lowest = std::numeric_limits<double>::lowest();
constexpr double highest = std::numeric_limits<double>::max();

using SampleFunction = bool (*)(void* handle);
using SetUp = std::function<void(Vel::OperationHandle&)>;

template <class TStep>
void RegisterSteps(const std::string& name, TStep step) {
    benchmark::RegisterBenchmark(name.c_str(), [step, next = std::size_t{0}](benchmark::State& state) mutable {
        for ([[maybe_unused]] auto unused : state)
            for (std::size_t i = 0; i < batch; ++i)
                step(next++);
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
    });
}

/// One operation of the library and the hand-written object, on the same channels.
template <Vel::Sample TResult, Vel::Sample... TOperands>
struct Pair {
    template <class TMaker, class... TParameters>
    Pair(bool noValueAware, const char* name, TMaker makeByHand, const TParameters&... parameters)
        : operation(std::apply(
              [&](auto&... channels) { return Vel::OperationHandle::Create(noValueAware, name, result, channels...); },
              operands)),
          byHand(std::apply(
              [&](auto&... channels) {
                  return makeByHand(noValueAware, result.Reference(), channels.Reference()..., parameters...);
              },
              operands)) {}

    Vel::Channel<TResult> result;
    std::tuple<Vel::Channel<TOperands>...> operands;
    Vel::OperationHandle operation;
    HandWritten::ObjectPointer byHand;
};

/// Passes samples through both, which must agree: this shows that the hand-written object does the same work.
template <class TPair, Vel::Sample T>
void PassBoth(const std::string& title, TPair& pair, std::vector<T>& column, std::size_t samples) {
    constexpr double tolerance = 1e-9;
    for (std::size_t i = 0; i < samples; ++i) {
        std::get<0>(pair.operands).MoveTo(&column[i % column.size()]);
        const bool isNew = pair.operation.Execute();
        const auto value = static_cast<double>(pair.result.Get());
        const bool isNewByHand = HandWritten::Execute(pair.byHand.get());
        if (isNew != isNewByHand ||
            std::abs(static_cast<double>(pair.result.Get()) - value) > tolerance * std::abs(value))
            throw std::logic_error(title + ": library and hand-written object differ");
    }
}

/// Registers an operation and the hand-written object. The inner pointer of the first operand moves over a column; the
/// others keep their values. `fill` samples and some more go through both before.
template <Vel::Sample TResult, class TMaker, Vel::Sample TFirst, Vel::Sample... TOthers, class... TParameters>
void RegisterForm(bool noValueAware, TMaker makeByHand, const std::string& title, const char* name, const SetUp& setUp,
                  std::size_t fill, std::shared_ptr<std::vector<TFirst>> column, std::tuple<TOthers...> others,
                  const TParameters&... parameters) {
    const auto pair =
        std::make_shared<Pair<TResult, TFirst, TOthers...>>(noValueAware, name, makeByHand, parameters...);
    if (setUp)
        setUp(pair->operation);
    auto& first = std::get<0>(pair->operands);
    [&]<std::size_t... i>(std::index_sequence<i...>) { ((std::get<i + 1>(pair->operands) = std::get<i>(others)), ...); }
    (std::index_sequence_for<TOthers...>());

    PassBoth(title, *pair, *column, fill + batch);

    const auto subject = [&](const char* what, SampleFunction function, void* handle) {
        SampleFunction volatile target = function; // keeps the call a call
        const auto step = [pair, column, samples = column->data(), mask = column->size() - 1, &first, handle,
                           called = target](std::size_t i) {
            first.MoveTo(samples + (i & mask));
            called(handle);
        };
        RegisterSteps(title + (noValueAware ? "/NoValue-aware/" : "/plain/") + what, step);
    };
    subject("library", ::Execute, pair->operation.Get());
    subject("hand-written", HandWritten::Execute, pair->byHand.get());
}

/// Registers both forms.
template <Vel::Sample TResult, class... TArguments>
void RegisterFamily(const TArguments&... arguments) {
    RegisterForm<TResult>(false, arguments...);
    RegisterForm<TResult>(true, arguments...);
}

/// Registers an alternative: an object with a Step from sample to sample.
template <class TAlternative>
void RegisterAlternative(const std::string& name, std::size_t fill, const std::shared_ptr<std::vector<double>>& column,
                         std::shared_ptr<TAlternative> alternative) {
    const auto step = [=, samples = column->data(), mask = column->size() - 1](std::size_t i) {
        benchmark::DoNotOptimize(alternative->Step(samples[i & mask]));
    };
    for (std::size_t i = 0; i < fill; ++i)
        step(i);
    RegisterSteps(name, step);
}

void RegisterFormula(const std::string& name, const std::shared_ptr<std::vector<double>>& column,
                     const std::string& formula) {
    RegisterAlternative(name, 0, column, std::make_shared<Alternatives::Formula>(formula));
}

void RegisterValues() {
    const auto column = std::make_shared<std::vector<double>>(RandomColumn<double>(shortColumn));
    const auto conditions = std::make_shared<std::vector<std::uint16_t>>(RandomColumn<std::uint16_t>(shortColumn));
    for (std::uint16_t& condition : *conditions)
        condition &= 1;
    // The marker of a channel is a NaN; so is that of the formulas.
    const std::string unlessNoValue = "(a != a) || (b != b) ? nan : ";

    RegisterFamily<double>(HandWritten::MakePlus, "Plus DDD", "Plus", SetUp{}, noFill, column, std::tuple(3.0));
    RegisterFormula("Plus DDD/plain/muParser", column, "a + b");
    RegisterFormula("Plus DDD/NoValue-aware/muParser", column, unlessNoValue + "a + b");
    RegisterFamily<double>(HandWritten::MakeDivide, "Divide DDD", "Divide", SetUp{}, noFill, column, std::tuple(3.0));
    RegisterFormula("Divide DDD/plain/muParser", column, "b == 0 ? nan : a / b");
    RegisterFormula("Divide DDD/NoValue-aware/muParser", column, unlessNoValue + "(b == 0 ? nan : a / b)");
    RegisterFamily<std::uint16_t>(HandWritten::MakeEqual, "Equal WDD", "Equal", SetUp{}, noFill, column,
                                  std::tuple(3.0));
    RegisterFormula("Equal WDD/plain/muParser", column, "a == b");
    RegisterFormula("Equal WDD/NoValue-aware/muParser", column, unlessNoValue + "(a == b)");
    RegisterFamily<std::int32_t>(HandWritten::MakeCast, "Cast lD", "Cast", SetUp{}, noFill, column, std::tuple());
    RegisterFamily<double>(HandWritten::MakeIf, "If DWDD", "If", SetUp{}, noFill, conditions, std::tuple(1.0, 2.0));
}

void RegisterLogic() {
    const auto column = std::make_shared<std::vector<double>>(RandomColumn<double>(shortColumn));
    RegisterFamily<std::uint16_t>(
        HandWritten::MakePosEdge, "PosEdge WD", "PosEdge",
        [](Vel::OperationHandle& operation) { operation.Initialize(50.0); }, noFill, column, std::tuple(), 50.0);
    RegisterFamily<std::uint16_t>(
        HandWritten::MakeUpperLimit, "UpperLimit WDD", "UpperLimit",
        [](Vel::OperationHandle& operation) { operation.Initialize(10.0); }, noFill, column, std::tuple(90.0), 10.0);

    constexpr std::size_t points = 256;
    const auto x = [](std::size_t i) { return static_cast<double>(i) * (100.0 / points); };
    const auto y = [x](std::size_t i) { return std::sin(x(i)); };
    std::vector<HandWritten::CurvePoint> curve;
    for (std::size_t i = 0; i < points; ++i)
        curve.push_back({x(i), y(i)});
    const auto setUp = [&](Vel::OperationHandle& operation) {
        [&]<std::size_t... i>(std::index_sequence<i...>) {
            operation.Initialize((i % 2 == 0 ? x(i / 2) : y(i / 2))...);
        }
        (std::make_index_sequence<2 * points>());
    };
    RegisterFamily<double>(HandWritten::MakeLinea, "Linea DD, 256 points", "Linea", setUp, noFill, column, std::tuple(),
                           curve);

    // Up and down over the whole curve, 16 samples to a line.
    constexpr std::size_t half = points * 16;
    const auto sweep = std::make_shared<std::vector<double>>(2 * half);
    for (std::size_t i = 0; i < half; ++i)
        (*sweep)[i] = (*sweep)[2 * half - 1 - i] = x(points) * static_cast<double>(i) / half;
    RegisterFamily<double>(HandWritten::MakeRememberingLinea, "Linea DD, 256 points, slow sweep", "Linea", setUp,
                           noFill, sweep, std::tuple(), curve);
}

void RegisterSignals() {
    const auto column = std::make_shared<std::vector<double>>(RandomColumn<double>(shortColumn));
    constexpr std::size_t length = 1000;
    RegisterFamily<double>(
        HandWritten::MakeAverage, "Average DD, window 1000", "Average",
        [](Vel::OperationHandle& operation) {
            operation.Initialize(static_cast<std::uint32_t>(length), lowest, highest);
        },
        length, column, std::tuple(), length);
    RegisterFamily<double>(
        HandWritten::MakeGetOldValueN, "GetOldValueN DD, depth 1000", "GetOldValueN",
        [](Vel::OperationHandle& operation) { operation.Initialize(static_cast<std::uint32_t>(length), 0.0); }, length,
        column, std::tuple(), length);

    // Butterworth, order 4, corner at a tenth of the sample rate.
    const std::vector<double> b{0.00482434335771623, 0.0192973734308649, 0.0289460601462974, 0.0192973734308649,
                                0.00482434335771623};
    const std::vector<double> a{1, -2.36951300718204, 2.31398841441588, -1.05466540587857, 0.187379492368185};
    const std::string lowPass = "FilterButterworthLowPass DD, order 4";
    RegisterFamily<double>(
        HandWritten::MakeLowPass, lowPass, "FilterButterworthLowPass",
        [](Vel::OperationHandle& operation) { operation.Initialize(4u, 1000.0, 100.0); }, noFill, column, std::tuple(),
        b, a);
    const auto liquid = [&](const char* subject, liquid_iirdes_format form) {
        RegisterAlternative(lowPass + "/plain/" + subject, 0, column,
                            std::make_shared<Alternatives::LiquidLowPass>(form, 0.1));
    };
    liquid("liquid-dsp, direct", LIQUID_IIRDES_TF);
    liquid("liquid-dsp, cascaded", LIQUID_IIRDES_SOS);
}

void RegisterExtremes() {
    const auto column = std::make_shared<std::vector<double>>(RandomColumn<double>(longColumn));
    for (const std::size_t length : {10u, 100u, 1000u, 10000u, 100000u, 1000000u}) {
        const std::string title = "Max DD, window " + std::to_string(length);
        RegisterFamily<double>(
            HandWritten::MakeMax, title, "Max",
            [&](Vel::OperationHandle& operation) {
                operation.Initialize(lowest, highest, static_cast<std::uint32_t>(length));
            },
            length, column, std::tuple(), length);
        RegisterAlternative(title + "/plain/multiset", length, column,
                            std::make_shared<Alternatives::MultisetMax>(length));
        RegisterAlternative(title + "/plain/deque", length, column, std::make_shared<Alternatives::DequeMax>(length));
    }
}

/// Many NoValue-aware sums with channels of their own, one after the other, round and round.
void RegisterManyObjects() {
    using Objects = Pair<double, double, double>;
    for (const std::size_t count : {10u, 1000u, 100000u}) {
        const auto pairs = std::make_shared<std::vector<std::unique_ptr<Objects>>>();
        for (std::size_t i = 0; i < count; ++i) {
            auto& pair = *pairs->emplace_back(std::make_unique<Objects>(true, "Plus", HandWritten::MakePlus));
            std::get<0>(pair.operands) = 1;
            std::get<1>(pair.operands) = 3;
        }
        const auto subject = [&](const char* what, SampleFunction function, auto handleOf) {
            SampleFunction volatile target = function;
            std::vector<void*> handles;
            for (const auto& pair : *pairs)
                handles.push_back(handleOf(*pair));
            RegisterSteps(std::to_string(count) + " Plus DDD in turn/NoValue-aware/" + what,
                          [pairs, handles, called = target, next = std::size_t{0}](std::size_t) mutable {
                              called(handles[next]);
                              if (++next == handles.size())
                                  next = 0;
                          });
        };
        subject("library", ::Execute, [](const Objects& pair) { return pair.operation.Get(); });
        subject("hand-written", HandWritten::Execute, [](const Objects& pair) -> void* { return pair.byHand.get(); });
    }
}

void RegisterCreation() {
    using Objects = Pair<double, double, double>;
    const auto pair = std::make_shared<Objects>(true, "Plus", HandWritten::MakePlus);
    double** const z = pair->result.Reference();
    double** const x = std::get<0>(pair->operands).Reference();
    double** const y = std::get<1>(pair->operands).Reference();
    RegisterSteps("Create and Dispose, Plus DDD/NoValue-aware/library",
                  [=, keep = pair](std::size_t) { Dispose(Create(true, "Plus", "DDD", z, x, y)); });
    RegisterSteps("Create and Dispose, Plus DDD/NoValue-aware/hand-written",
                  [=, keep = pair](std::size_t) { HandWritten::MakePlus(true, z, x, y); });
}

// The worst single sample.

/// The processor's time stamp, after all earlier instructions.
std::uint64_t TimeStamp() {
    _mm_lfence();
    const std::uint64_t stamp = __rdtsc();
    _mm_lfence();
    return stamp;
}

double NanosecondsPerTick() {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const std::uint64_t firstStamp = TimeStamp();
    while (Clock::now() - start < std::chrono::milliseconds(50)) {
    }
    const auto ticks = static_cast<double>(TimeStamp() - firstStamp);
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / ticks;
}

/// Times every sample by itself, less the cost of the clock. The same samples run several times from the same start,
/// and the least time of each counts: the operation does its work each time, other programs do not.
template <class TStep, class TRestart>
void TimeSingleSamples(benchmark::State& state, const std::vector<double>& column, std::size_t fill, TStep step,
                       TRestart restart) {
    static const double nanosecondsPerTick = NanosecondsPerTick();
    constexpr int runs = 15;
    std::vector<std::uint64_t> least(column.size() - fill, std::numeric_limits<std::uint64_t>::max());
    std::uint64_t clock = std::numeric_limits<std::uint64_t>::max();
    for ([[maybe_unused]] auto unused : state) {
        for (int run = 0; run < runs; ++run) {
            // All runs take equally long, so without this the timer would interrupt the same samples in each.
            std::this_thread::sleep_for(run * std::chrono::microseconds(700));
            restart();
            for (std::size_t i = 0; i < fill; ++i)
                step(column[i]);
            for (std::size_t i = 0; i < least.size(); ++i) {
                const std::uint64_t before = TimeStamp();
                step(column[fill + i]);
                const std::uint64_t after = TimeStamp();
                least[i] = std::min(least[i], after - before);
                clock = std::min(clock, TimeStamp() - after);
            }
        }
    }
    std::ranges::sort(least);
    const auto nanoseconds = [&](std::size_t index) {
        return static_cast<double>(least[index] - std::min(clock, least[index])) * nanosecondsPerTick;
    };
    state.counters["median"] = nanoseconds(least.size() / 2);
    state.counters["99.99 %"] = nanoseconds(least.size() - 1 - least.size() / 10000);
    state.counters["maximum"] = nanoseconds(least.size() - 1);
}

struct Course {
    const char* name;
    std::function<double(std::size_t)> sample;
};

void RegisterSingleSamples() {
    static constexpr std::size_t window = 100000;
    constexpr std::size_t columnLength = 4 * window;
    constexpr std::size_t tooth = 997;
    static const auto randomColumn = RandomColumn<double>(columnLength);
    static const std::array courses{
        Course{"random", [](std::size_t i) { return randomColumn[i]; }},
        Course{"ascending", [](std::size_t i) { return static_cast<double>(i); }},
        Course{"descending", [](std::size_t i) { return -static_cast<double>(i); }},
        Course{"sawtooth", [](std::size_t i) { return -static_cast<double>(i % tooth); }},
        // Falls, and sometimes jumps back up: deep cuts into a long wedge.
        Course{"returns",
               [](std::size_t i) {
                   return i % tooth == 0 ? -static_cast<double>(i) + randomColumn[i] * (window / 200.0)
                                         : -static_cast<double>(i);
               }},
    };
    for (const Course& course : courses) {
        const auto column = std::make_shared<std::vector<double>>(columnLength);
        for (std::size_t i = 0; i < columnLength; ++i)
            (*column)[i] = course.sample(i);
        const std::string title = std::string("Single sample of Max DD, window 100000/") + course.name + "/";
        const auto subject = [&](const char* what, auto measure) {
            benchmark::RegisterBenchmark((title + what).c_str(), measure)->Iterations(1)->Repetitions(1);
        };
        subject("library", [column](benchmark::State& state) {
            Pair<double, double> pair(false, "Max", HandWritten::MakeMax, window);
            pair.operation.Initialize(lowest, highest, static_cast<std::uint32_t>(window));
            auto& operand = std::get<0>(pair.operands);
            TimeSingleSamples(
                state, *column, window,
                [&](double sample) {
                    operand = sample;
                    ::Execute(pair.operation.Get());
                },
                [&] { pair.operation.Reset(); });
        });
        subject("deque", [column](benchmark::State& state) {
            auto wedge = std::make_unique<Alternatives::DequeMax>(window);
            TimeSingleSamples(
                state, *column, window, [&](double sample) { benchmark::DoNotOptimize(wedge->Step(sample)); },
                [&] { wedge = std::make_unique<Alternatives::DequeMax>(window); });
        });
    }
}

} // namespace

int main(int argc, char** argv) {
    RegisterSteps("Call of a function that only returns/plain/nothing", [](std::size_t) {
        static bool (*volatile const nothing)(void*) = [](void*) { return true; };
        nothing(nullptr);
    });
    RegisterValues();
    RegisterLogic();
    RegisterSignals();
    RegisterExtremes();
    RegisterManyObjects();
    RegisterCreation();
    RegisterSingleSamples();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
}
