/// Operations on columns, and the table of operations.
#include "ArrowOperand.h"
#include "Module.h"
#include "Values.h"

#include "engine/Duration.h"
#include "engine/Engine.h"
#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"
#include "vocabulary/Vocabulary.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/variant.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace nb = nanobind;

namespace VelPython {

namespace {

namespace Engine = Vel::Engine;
using Parameters = nb::typed<nb::dict, nb::str, nb::object>;
using Columns = nb::typed<nb::list, nb::object>;

/// The memory of a Python object with one sample per row. The object cannot be resized meanwhile.
class Buffer {
public:
    Buffer(nb::handle object, bool isWritable) {
        if (PyObject_GetBuffer(object.ptr(), &view, isWritable ? PyBUF_STRIDES | PyBUF_WRITABLE : PyBUF_STRIDES) != 0)
            throw nb::python_error();
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    Buffer(Buffer&& other) noexcept : view(std::exchange(other.view, {})) {}
    Buffer& operator=(Buffer&&) = delete;
    ~Buffer() { PyBuffer_Release(&view); }

    /// The caller has checked the types; this checks only that memory access is safe.
    Vel::Column Samples(std::size_t size, std::size_t rows) const {
        if (view.ndim != 1 || static_cast<std::size_t>(view.itemsize) != size ||
            static_cast<std::size_t>(view.shape[0]) != rows)
            throw std::invalid_argument("a column has another shape or type than agreed");
        return {view.buf, rows < 2 ? static_cast<std::ptrdiff_t>(size) : view.strides[0]};
    }
    /// Writable memory must be contiguous.
    std::byte* Destination(std::size_t size, std::size_t rows) const {
        if (Samples(size, rows).stride != static_cast<std::ptrdiff_t>(size))
            throw std::invalid_argument("a column that is written is not contiguous");
        return static_cast<std::byte*>(view.buf);
    }

private:
    Py_buffer view{};
};

/// The number of results in a signature with this many letters; 1 for an unknown one, for which the engine then throws.
std::size_t ResultsOf(const std::string& name, std::size_t letters) {
    for (const Vel::Operation* const operation : Vel::FindOperations(name))
        if (operation->results + operation->operands == letters)
            return operation->results;
    return 1;
}

Engine::Channel ChannelOf(const std::string& name, char letter, const std::string& place) {
    if (Vel::TypeIndex(letter) == Vel::sampleTypes.size())
        throw Vel::Error(place, "no type has the letter " + Vel::Quoted(std::string(1, letter)),
                         "B W L Q are UInt8 to UInt64, b w l q SInt8 to SInt64, F Float32, D Float64");
    return {name, Vel::DefaultNoValue(letter)};
}

/// Turns a remedy of the engine, worded for plans, into one for Python.
std::string InPython(std::string remedy) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 3> words{{
        {"no_value_aware = false", "aware=False"},
        {"no_value_aware = true", "aware=True"},
        {"add sample_period to [plan], or a [raster]; or write", "give sample_period, too; or write"},
    }};
    for (const auto& [ofPlans, ofPython] : words)
        if (const std::size_t found = remedy.find(ofPlans); found != std::string::npos)
            remedy.replace(found, ofPlans.size(), ofPython);
    static const std::regex ofOne("velreplay --operations (\\w+) lists all");
    static const std::regex ofAll("velreplay --operations lists");
    remedy = std::regex_replace(remedy, ofAll, "veloperation.operations() lists");
    return std::regex_replace(remedy, ofOne, "veloperation.operations(\"$1\") lists all");
}

/// A plan with one operation. Its operands are the inputs.
Engine::Plan PlanOf(const std::string& name, const std::string& signature, bool aware, bool ownResultOverGaps,
                    nb::handle samplePeriod, const Parameters& parameters) {
    const std::string place = name + " " + signature;
    Engine::Plan plan;
    plan.name = place;
    Engine::ComputationPlan computation;
    computation.place = place;
    computation.operation = name;
    computation.noValueAware = aware;
    computation.showsOwnResultOverGaps = ownResultOverGaps;
    computation.parameters = ValuesFrom(parameters, place);
    const std::size_t results = ResultsOf(name, signature.size());
    for (std::size_t i = 0; i < signature.size(); ++i) {
        const bool isResult = i < results;
        const std::string channel =
            isResult ? "result " + std::to_string(i + 1) : "operand " + std::to_string(i - results + 1);
        if (isResult) {
            computation.results.push_back(ChannelOf(channel, signature[i], place));
        } else {
            plan.inputs.push_back({place, ChannelOf(channel, signature[i], place)});
            computation.operands.push_back(channel);
        }
    }
    if (computation.results.empty())
        throw Vel::Error(place, "the signature is empty", "it has a letter for each result, then for each operand");
    std::optional<double> period;
    if (!samplePeriod.is_none()) {
        const Engine::Value value = ValueFrom(samplePeriod, place, "sample_period");
        if (const auto* const duration = std::get_if<Engine::Duration>(&value))
            period = duration->seconds;
        else if (const auto* const number = std::get_if<double>(&value))
            period = *number;
        else if (const auto* const whole = std::get_if<std::int64_t>(&value))
            period = static_cast<double>(*whole);
        if (!period || !(*period > 0) || !(*period <= std::numeric_limits<double>::max()))
            throw Vel::Error(place, "\"sample_period\" is no time above 0", "give the seconds from row to row");
    }
    for (const Vel::Operation* const operation : Vel::FindOperations(name))
        if (operation->operands == computation.operands.size())
            Engine::Complete(computation.parameters, *operation, period, place);
    plan.computations.push_back(std::move(computation));
    return plan;
}

class Operation {
public:
    Operation(const std::string& itsName, const std::string& signature, bool aware, bool ownResultOverGaps,
              nb::handle samplePeriod, const Parameters& parameters) try
        : name(itsName),
          run(PlanOf(itsName, signature, aware, ownResultOverGaps, samplePeriod, parameters), mostRows),
          results(run.Channels().size() - run.Inputs()) {
    } catch (const Vel::Error& error) {
        throw Vel::Error(error.Place(), error.Fault(), InPython(error.Remedy()));
    }

    std::size_t Results() const { return results; }

    /// Computes all rows from the operands into the results and, if wanted, the statuses. Returns for each result
    /// whether it contains NoValue. Floating types are not checked, since nobody asks.
    std::vector<bool> Execute(const Columns& operands, const Columns& itsResults, nb::handle statuses,
                              std::size_t rows) {
        const Use use(*this);
        if (operands.size() != run.Inputs() || itsResults.size() != results)
            throw std::invalid_argument("another number of columns than agreed");
        std::vector<Buffer> buffers;
        std::vector<Vel::Column> columns;
        std::vector<std::byte*> destinations;
        buffers.reserve(operands.size() + results + 1);
        for (std::size_t i = 0; i < operands.size(); ++i)
            columns.push_back(buffers.emplace_back(operands[i], false).Samples(SizeOf(i), rows));
        for (std::size_t i = 0; i < results; ++i)
            destinations.push_back(
                buffers.emplace_back(itsResults[i], true).Destination(SizeOf(run.Inputs() + i), rows));
        std::byte* const statusDestination =
            statuses.is_none() ? nullptr : buffers.emplace_back(statuses, true).Destination(sizeof(Vel::Status), rows);

        std::vector<bool> haveGaps(results);
        const nb::gil_scoped_release released;
        run.MakeStatuses(statusDestination != nullptr);
        for (std::size_t row = 0; row < rows; row += mostRows) {
            const std::size_t count = std::min(mostRows, rows - row);
            for (std::size_t i = 0; i < results; ++i)
                run.PutInto(run.Inputs() + i, destinations[i] + row * SizeOf(run.Inputs() + i));
            run.Feed(columns, count);
            for (std::size_t i = 0; i < results; ++i)
                haveGaps[i] = haveGaps[i] || HasGaps(run.Inputs() + i, count);
            for (Vel::Column& column : columns)
                column.first = column.AddressAt(count);
            if (statusDestination != nullptr)
                std::ranges::copy(std::as_bytes(run.StatusesOf(0)), statusDestination + row);
        }
        return haveGaps;
    }

    void Reset() {
        const Use use(*this);
        run.Restart();
    }

private:
    /// One call at a time.
    class Use {
    public:
        explicit Use(Operation& itsOperation) : operation(itsOperation) {
            if (operation.isInUse.exchange(true, std::memory_order_acquire))
                throw std::runtime_error(operation.name +
                                         " is at work in another thread: make an operation for each thread");
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use() { operation.isInUse.store(false, std::memory_order_release); }

    private:
        Operation& operation;
    };

    /// Checks the block while it is still in the processor's cache.
    bool HasGaps(std::size_t channel, std::size_t rows) const {
        return std::visit(
            [&]<class T>(T noValue) {
                const T* const samples = &run.ColumnOf(channel).At<T>(0);
                return std::is_integral_v<T> && std::find(samples, samples + rows, noValue) != samples + rows;
            },
            run.Channels()[channel].noValue);
    }

    std::size_t SizeOf(std::size_t channel) const { return run.Channels()[channel].Type().size; }

    static constexpr std::size_t mostRows = 8192; ///< per block, so that the samples fit in the processor's caches
    const std::string name;
    Engine::Run run;
    const std::size_t results;
    std::atomic<bool> isInUse = false;
};

} // namespace

void AddOperations(nb::module_& module) {
    nb::class_<Operation>(module, "Operation")
        .def(nb::init<const std::string&, const std::string&, bool, bool, nb::handle, const Parameters&>(),
             nb::arg("name"), nb::arg("signature"), nb::arg("aware"), nb::arg("own_result_over_gaps"),
             nb::arg("sample_period").none(), nb::arg("parameters"))
        .def_prop_ro("results", &Operation::Results)
        .def("execute", &Operation::Execute, nb::arg("operands"), nb::arg("results"), nb::arg("statuses").none(),
             nb::arg("rows"))
        .def("reset", &Operation::Reset);

    nb::class_<Vel::Parameter>(module, "Parameter")
        .def_prop_ro("name", [](const Vel::Parameter& parameter) { return std::string(parameter.name); })
        .def_prop_ro("unit", [](const Vel::Parameter& parameter) { return std::string(parameter.unit); })
        .def_prop_ro("otherwise",
                     [](const Vel::Parameter& parameter) { return Vel::DescribeDefault(parameter.otherwise); })
        .def_prop_ro("meaning", [](const Vel::Parameter& parameter) { return std::string(parameter.meaning); });
    nb::class_<Vel::Operation>(module, "Entry")
        .def_prop_ro("name", [](const Vel::Operation& operation) { return std::string(operation.name); })
        .def_ro("results", &Vel::Operation::results)
        .def_ro("operands", &Vel::Operation::operands)
        .def_prop_ro("signatures", [](const Vel::Operation& operation) { return Vel::SignaturesOf(operation); })
        .def_prop_ro("parameters",
                     [](const Vel::Operation& operation) {
                         return std::vector<Vel::Parameter>(operation.parameters.begin(), operation.parameters.end());
                     })
        .def_prop_ro("summary", [](const Vel::Operation& operation) { return std::string(operation.summary); })
        .def_prop_ro("reads_clock", [](const Vel::Operation& operation) { return operation.traits.readsClock; });
    module.def("entries", [] {
        const auto all = Vel::AllOperations();
        return std::vector<Vel::Operation>(all.begin(), all.end());
    });
    module.def("numpy_operand", &NumpyOperand, nb::arg("data"));
    module.def("no_value", [](const std::string& letter) { return Vel::DefaultNoValue(letter.at(0)); });
}

} // namespace VelPython
