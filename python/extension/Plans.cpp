#include "Capsules.h"
#include "CsvResult.h"
#include "Module.h"
#include "NumpyColumn.h"
#include "Recording.h"
#include "Replay.h"
#include "Values.h"

#include "engine/Engine.h"
#include "engine/NumberText.h"
#include "vocabulary/Error.h"

#include <nanobind/ndarray.h>
#include <nanobind/stl/array.h>
#include <nanobind/stl/map.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/shared_ptr.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/unique_ptr.h>
#include <nanobind/stl/vector.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace nb = nanobind;

namespace VelPython {

namespace {

using Vel::Error;
using Vel::Engine::Plan, Vel::Engine::Value, Vel::Engine::Warning;
using Vel::Recordings::FormatOptions;

/// Converts a Python object to the value of a setting. Texts are read as on velreplay's command line.
Value ValueOf(nb::handle object, const std::string& name) {
    const std::string place = "setting \"" + name + "\"";
    if (nb::isinstance<nb::str>(object))
        return Vel::Engine::ParseValue(nb::cast<std::string>(object), place);
    return ValueFrom(object, place, name);
}

using Settings = nb::typed<nb::dict, nb::str, nb::object>;

Vel::Engine::ParametersByName SettingsOf(const Settings& settings) {
    Vel::Engine::ParametersByName values;
    for (const auto& [key, value] : settings) {
        const auto name = nb::cast<std::string>(key);
        values.emplace(name, ValueOf(value, name));
    }
    return values;
}

std::string TextOf(const Vel::Engine::ConstantPlan& constant) {
    return std::visit(
        [&]<class T>(T value) {
            if (Vel::IsNoValue(value, std::get<T>(constant.channel.noValue)))
                return std::string("no sample");
            if constexpr (std::is_floating_point_v<T>)
                return Vel::Engine::Text(double{value});
            else
                return std::to_string(value);
        },
        constant.value);
}

/// Name, type, kind and origin of all channels except inner ones.
std::vector<std::tuple<std::string, std::string, std::string, std::string>> Describe(const Plan& plan) {
    std::vector<std::tuple<std::string, std::string, std::string, std::string>> rows;
    const auto add = [&](const Vel::ChannelType& channel, bool isTime, const char* kind, const std::string& how) {
        rows.emplace_back(channel.name, isTime ? "Time" : std::string(channel.Type().name), kind, how);
    };
    for (const auto& input : plan.inputs)
        add(input.channel, input.time.has_value(), "input", input.column.value_or(input.channel.name));
    for (const auto& constant : plan.constants)
        if (!constant.isInner)
            add(constant.channel, false, "constant", TextOf(constant));
    for (const auto& computation : plan.computations) {
        std::string call = computation.operation + "(";
        for (std::size_t i = 0; i < computation.operands.size(); ++i)
            call += (i == 0 ? "" : ", ") + computation.operands[i];
        if (!computation.isInner)
            for (const auto& result : computation.results)
                add(result, false, "computed", computation.formula.empty() ? call + ")" : computation.formula);
    }
    return rows;
}

/// Name, column, place, and whether it is a time (since 2000), of each input.
std::vector<std::tuple<std::string, std::string, std::string, bool>> Inputs(const Plan& plan) {
    std::vector<std::tuple<std::string, std::string, std::string, bool>> inputs;
    for (const auto& input : plan.inputs)
        inputs.emplace_back(input.channel.name, input.column.value_or(input.channel.name), input.place,
                            input.time.has_value());
    return inputs;
}

/// Ends a wait or a long computation when the user presses Ctrl-C, or when the caller's function says so. Asks Python
/// only now and then, as that has to wait for other threads.
class Interruption {
public:
    Interruption() = default;
    /// `itsIsStopped`: a function that returns true from when on the recording counts as ended, or None.
    explicit Interruption(const nb::object& itsIsStopped)
        : isStopped(itsIsStopped.is_none() ? nullptr : Shared(itsIsStopped)) {}

    bool IsThere() {
        if (isThere)
            return true;
        const auto now = std::chrono::steady_clock::now();
        if (now - last < std::chrono::milliseconds(20))
            return false;
        last = now;
        const nb::gil_scoped_acquire gil;
        try {
            if (PyErr_CheckSignals() != 0)
                throw nb::python_error();
            isThere = isStopped != nullptr && nb::cast<bool>((*isStopped)());
        } catch (nb::python_error& raised) {
            error = std::make_unique<nb::python_error>(std::move(raised));
            isThere = true;
        }
        return isThere;
    }
    bool HasStopped() const { return isThere; }
    /// Raises the exception of a signal handler.
    void Raise() {
        if (error)
            throw nb::python_error(std::move(*std::exchange(error, nullptr)));
    }

private:
    std::shared_ptr<nb::object> isStopped;
    bool isThere = false;
    std::chrono::steady_clock::time_point last{};
    std::unique_ptr<nb::python_error> error;
};

/// A result: a stream that can be read once, or stored tables.
class Result {
public:
    Result(std::shared_ptr<Replay> itsReplay, std::shared_ptr<Interruption> itsInterruption)
        : replay(std::move(itsReplay)), interruption(std::move(itsInterruption)) {}
    /// Stores tables that exist already.
    Result(std::shared_ptr<Replay> itsReplay, std::vector<SharedArray> tables)
        : replay(std::move(itsReplay)), kept(std::move(tables)), state(State::Kept) {}

    nb::object Schema() const { return SchemaCapsule(CopySchema(replay->Schema())); }

    nb::object Stream() {
        if (state == State::Kept)
            return StreamCapsule(StreamOfTables(CopySchema(replay->Schema()), kept));
        Begin();
        return StreamCapsule(StreamOf(replay));
    }

    void Read() {
        if (state == State::Kept)
            return;
        Begin();
        try {
            while (ReadTable())
                if (PyErr_CheckSignals() != 0)
                    throw nb::python_error();
        } catch (...) {
            kept.clear();
            Close();
            throw;
        }
        Close();
        interruption->Raise();
        state = State::Kept;
    }

    /// The next table of a stream that is read once, as a stream of its own; None at the end.
    nb::object NextTable() {
        if (state == State::New)
            Begin();
        OwnedArray table;
        try {
            {
                const nb::gil_scoped_release noGil;
                table = replay->Next();
            }
            interruption->Raise();
            if (PyErr_CheckSignals() != 0)
                throw nb::python_error();
        } catch (...) {
            Close();
            throw;
        }
        if (!table) {
            Close();
            return nb::none();
        }
        return StreamCapsule(
            StreamOfTables(CopySchema(replay->Schema()), {std::make_shared<const OwnedArray>(std::move(table))}));
    }

    /// Writes the stream as CSV, in the format of the recording. If the recording fails, or if its rows do not come
    /// again because it is live, the rows before the failure stay in a file, and the message names it.
    void WriteCsv(const std::string& file, const Plan& plan, const FormatOptions& options, bool isLive) {
        Begin();
        try {
            CsvResult result(file, Vel::Recordings::MakeFormat(options, plan), *replay);
            WriteRows(result, isLive);
            const nb::gil_scoped_release noGil;
            result.Keep();
        } catch (...) {
            Close();
            throw;
        }
        Close();
    }

    /// Reads the stream and writes a page of it. `rows`: how many there were when the same data were read before.
    void WritePage(const std::string& file, std::uint64_t mostBytes, const Plan& plan, const std::string& from,
                   const std::string& to, const std::string& settings, std::optional<std::uint64_t> rows) {
        Begin();
        Vel::Page::PlotPlan plot = Vel::Page::ReadPlotPlan(plan);
        Vel::Page::Bound(plot, from, to, "begin", "end");
        replay->CollectPage(file, mostBytes, std::move(plot));
        const auto compute = [this] {
            const nb::gil_scoped_release noGil;
            return static_cast<bool>(replay->Next());
        };
        while (compute())
            if (PyErr_CheckSignals() != 0)
                throw nb::python_error();
        interruption->Raise();
        const nb::gil_scoped_release noGil;
        if (rows && *rows != replay->RowsComputed())
            throw Error("page",
                        "the data had " + std::to_string(*rows) + " rows, and have " +
                            std::to_string(replay->RowsComputed()) + " when they are read again",
                        "write the page first, or replay a table or a file");
        replay->WritePage(settings);
        replay->Close();
    }

    std::vector<std::pair<std::string, Replay::Totals>> Totals() const {
        const nb::gil_scoped_release noGil;
        return replay->StatusTotals();
    }
    std::string SummaryText(double seconds) const {
        const nb::gil_scoped_release noGil;
        return replay->SummaryText(seconds);
    }
    std::uint64_t RowsComputed() const {
        const nb::gil_scoped_release noGil;
        return replay->RowsComputed();
    }
    std::map<std::string, std::string> Units() const { return replay->Units(); }
    std::vector<std::string> StatusNames() const { return replay->StatusNames(); }
    bool IsLive() const { return replay->IsLive(); }

    std::size_t Rows() const {
        std::size_t rows = 0;
        for (const SharedArray& table : kept)
            rows += static_cast<std::size_t>((*table)->length);
        return rows;
    }
    bool IsKept() const { return state == State::Kept; }

    std::vector<std::pair<std::string, std::string>> Fields() const {
        std::vector<std::pair<std::string, std::string>> fields;
        for (std::int64_t i = 0; i < replay->Schema().n_children; ++i) {
            const ArrowSchema& field = *replay->Schema().children[i];
            const ArrowType type = TypeOf(field.dictionary != nullptr ? *field.dictionary : field);
            fields.emplace_back(field.name, type.name);
        }
        return fields;
    }

    nb::typed<nb::tuple, nb::str, nb::object, nb::object> ColumnAt(std::size_t index, std::size_t begin,
                                                                   std::size_t end) const {
        return NumpyColumn(*replay->Schema().children[index], kept, index, begin, end, replay->IsStatus(index));
    }

    std::vector<Warning> Warnings() const {
        const nb::gil_scoped_release noGil; // a reader in another thread may wait for the GIL
        return replay->Warnings();
    }

private:
    enum class State { New, Begun, Kept };

    void Begin() {
        if (std::exchange(state, State::Begun) != State::New)
            throw Error("result", "it has been read already, and a stream is read once",
                        "call read() first, which keeps it, or replay again");
    }
    bool ReadTable() {
        const nb::gil_scoped_release noGil;
        OwnedArray table = replay->Next();
        if (!table)
            return false;
        kept.push_back(std::make_shared<const OwnedArray>(std::move(table)));
        return true;
    }
    void WriteRows(CsvResult& result, bool isLive) {
        bool isBad = false;
        try {
            if (isLive)
                result.Flush();
            while (!result.IsClosed() && WriteTable(result, isBad)) {
                if (isLive)
                    result.Flush();
                if (PyErr_CheckSignals() != 0)
                    throw nb::python_error();
            }
            interruption->Raise();
        } catch (const Error& failure) {
            const std::string part = isBad || isLive ? result.LeavePart() : std::string();
            if (part.empty())
                throw;
            throw Error(failure.Place(), failure.Fault(),
                        failure.Remedy() + (failure.Remedy().empty() ? "" : "\n  ") + "the rows before are in " +
                            Vel::Escaped(part));
        }
    }
    bool WriteTable(CsvResult& result, bool& isBad) {
        const nb::gil_scoped_release noGil;
        OwnedArray table;
        try {
            table = replay->Next();
        } catch (const Error&) {
            isBad = true;
            throw;
        }
        if (!table)
            return false;
        result.Write(*table);
        return true;
    }
    void Close() {
        const nb::gil_scoped_release noGil;
        replay->Close();
    }

    std::shared_ptr<Replay> replay;
    std::shared_ptr<Interruption> interruption;
    std::vector<SharedArray> kept;
    State state = State::New;
};

std::unique_ptr<Result> Begin(const Plan& plan, std::unique_ptr<Recording> recording, Looks looks,
                              const nb::object& progress, std::shared_ptr<Interruption> interruption) {
    std::shared_ptr<Replay> replay;
    {
        const nb::gil_scoped_release noGil;
        replay = std::make_shared<Replay>(plan, std::move(recording), looks, true);
    }
    if (!progress.is_none())
        replay->Report([call = Shared(progress)](std::uint64_t rows, std::optional<double> share) {
            const nb::gil_scoped_acquire gil;
            (*call)(rows, share);
        });
    return std::make_unique<Result>(std::move(replay), std::move(interruption));
}

std::unique_ptr<Result> ReplayData(const Plan& plan, const nb::object& data, const FormatOptions& options,
                                   bool hasStatuses, bool hasWarnings, const nb::object& progress, bool areAllSamples) {
    OwnedStream stream = StreamOfData(data);
    std::unique_ptr<Recording> recording;
    {
        const nb::gil_scoped_release noGil;
        recording = std::make_unique<ArrowRecording>(std::move(stream), plan, options);
    }
    return Begin(plan, std::move(recording), {hasStatuses, hasWarnings, areAllSamples}, progress,
                 std::make_shared<Interruption>());
}

std::unique_ptr<Result> ReplayFiles(const Plan& plan, const std::vector<std::string>& files,
                                    const FormatOptions& options, bool hasStatuses, bool hasWarnings,
                                    const nb::object& progress, bool areAllSamples, const nb::object& isStopped) {
    auto interruption = std::make_shared<Interruption>(isStopped);
    std::unique_ptr<Recording> recording;
    {
        const nb::gil_scoped_release noGil;
        recording =
            std::make_unique<CsvRecording>(files, options, plan, [interruption] { return interruption->IsThere(); });
    }
    interruption->Raise();
    if (interruption->HasStopped()) { // perhaps amid the header: there is no result to speak of
        PyErr_SetNone(PyExc_KeyboardInterrupt);
        throw nb::python_error();
    }
    return Begin(plan, std::move(recording), {hasStatuses, hasWarnings, areAllSamples}, progress,
                 std::move(interruption));
}

/// Runs a plan on data that arrive in batches.
class Session {
public:
    Session(Plan itsPlan, bool hasStatuses, bool hasWarnings)
        : plan(std::move(itsPlan)), looks{hasStatuses, hasWarnings} {
        const nb::gil_scoped_release noGil;
        const Vel::Engine::Run tried(plan, 1); // finds errors in the plan at once
    }

    std::unique_ptr<Result> Feed(const nb::object& data) {
        const Use use(*this);
        if (hasEnded)
            throw Error("session", "it has ended", "start another one");
        OwnedStream stream = StreamOfData(data);
        const nb::gil_scoped_release noGil;
        auto recording =
            std::make_unique<ArrowRecording>(std::move(stream), plan, FormatOptions(), replay ? replay->RowsRead() : 0);
        recording->ReadAll();
        if (replay)
            replay->GoOn(std::move(recording));
        else
            replay = std::make_shared<Replay>(plan, std::move(recording), looks, false);
        return Take();
    }

    std::unique_ptr<Result> End() {
        const Use use(*this);
        if (!replay)
            throw Error("session", "nothing has been fed, so there is no result", "feed a batch first");
        const nb::gil_scoped_release noGil;
        if (!std::exchange(hasEnded, true))
            replay->EndRecording();
        return Take();
    }

    std::vector<Warning> Warnings() const {
        const nb::gil_scoped_release noGil;
        return replay ? replay->Warnings() : std::vector<Warning>();
    }

private:
    /// One call at a time.
    class Use {
    public:
        explicit Use(Session& itsSession) : session(itsSession) {
            if (session.isBusy.exchange(true))
                throw Error("session", "another thread is in a call", "let one thread feed it, or take a lock");
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use() { session.isBusy = false; }

    private:
        Session& session;
    };

    std::unique_ptr<Result> Take() {
        std::vector<SharedArray> tables;
        try {
            while (OwnedArray table = replay->Next())
                tables.push_back(std::make_shared<const OwnedArray>(std::move(table)));
        } catch (const Error&) {
            if (tables.empty()) // otherwise return the rows before the error; the next call throws
                throw;
        }
        return std::make_unique<Result>(replay, std::move(tables));
    }

    Plan plan;
    Looks looks;
    bool hasEnded = false;
    std::shared_ptr<Replay> replay;
    std::atomic<bool> isBusy = false;
};

using WarningTuple = std::tuple<std::string, std::string, std::uint64_t, std::uint64_t>;

std::vector<WarningTuple> TuplesOf(const std::vector<Warning>& warnings) {
    std::vector<WarningTuple> tuples;
    tuples.reserve(warnings.size());
    for (const Warning& warning : warnings)
        tuples.emplace_back(warning.channel, warning.what, warning.firstRow, warning.rows);
    return tuples;
}

} // namespace

void AddPlans(nb::module_& module) {
    nb::class_<Plan>(module, "EnginePlan")
        .def_static(
            "parse",
            [](const std::string& text, const std::string& name, const Settings& settings) {
                return Vel::Engine::ParsePlan(text, name, SettingsOf(settings));
            },
            nb::arg("text"), nb::arg("name"), nb::arg("settings"))
        .def("explain", [](const Plan& plan) { return Vel::Engine::Explain(plan); })
        .def("check", [](const Plan& plan) { const Vel::Engine::Run tried(plan, 1); })
        .def("describe", &Describe)
        .def("inputs", &Inputs)
        .def("keep", [](const Plan& plan) { return std::pair(plan.keep, plan.keepsAll); })
        .def("raster",
             [](const Plan& plan) {
                 return plan.raster ? std::tuple(plan.raster->time, plan.raster->period, plan.raster->isAligned)
                                    : std::tuple(std::string(), 0.0, false);
             })
        .def("replay_data", &ReplayData, nb::arg("data"), nb::arg("options"), nb::arg("status"), nb::arg("warnings"),
             nb::arg("progress").none(), nb::arg("are_all_samples"))
        .def("replay_files", &ReplayFiles, nb::arg("files"), nb::arg("options"), nb::arg("status"), nb::arg("warnings"),
             nb::arg("progress").none(), nb::arg("are_all_samples"), nb::arg("is_stopped").none());

    nb::class_<FormatOptions>(module, "CsvOptions")
        .def(nb::init<>())
        .def_rw("separator", &FormatOptions::separator, nb::arg().none())
        .def_rw("decimal_comma", &FormatOptions::decimal_comma, nb::arg().none())
        .def_rw("thousands", &FormatOptions::thousands, nb::arg().none())
        .def_rw("missing", &FormatOptions::missing, nb::arg().none())
        .def_rw("skip", &FormatOptions::skip, nb::arg().none())
        .def_rw("units_row", &FormatOptions::units_row, nb::arg().none())
        .def_rw("on_bad_cell", &FormatOptions::on_bad_cell, nb::arg().none())
        .def_rw("on_no_value", &FormatOptions::on_no_value, nb::arg().none());

    nb::class_<Result>(module, "EngineResult")
        .def("schema", &Result::Schema)
        .def("stream", &Result::Stream)
        .def("read", &Result::Read)
        .def("write_page", &Result::WritePage, nb::arg("file"), nb::arg("size"), nb::arg("plan"), nb::arg("begin"),
             nb::arg("end"), nb::arg("settings"), nb::arg("rows").none())
        .def("next_table", &Result::NextTable)
        .def("write_csv", &Result::WriteCsv, nb::arg("file"), nb::arg("plan"), nb::arg("options"), nb::arg("is_live"))
        .def("is_live", &Result::IsLive)
        .def("totals", &Result::Totals)
        .def("summary", &Result::SummaryText, nb::arg("seconds"))
        .def("rows_computed", &Result::RowsComputed)
        .def("units", &Result::Units)
        .def("status_names", &Result::StatusNames)
        .def("rows", &Result::Rows)
        .def("is_kept", &Result::IsKept)
        .def("fields", &Result::Fields)
        .def("column", &Result::ColumnAt, nb::arg("index"), nb::arg("begin"), nb::arg("end"))
        .def("warnings", [](const Result& result) { return TuplesOf(result.Warnings()); });

    nb::class_<Session>(module, "EngineSession")
        .def(nb::init<const Plan&, bool, bool>(), nb::arg("plan"), nb::arg("status"), nb::arg("warnings"))
        .def("feed", &Session::Feed, nb::arg("data"))
        .def("end", &Session::End)
        .def("warnings", [](const Session& session) { return TuplesOf(session.Warnings()); });

    module.def("stream_of_arrays", &StreamOfArrays, nb::arg("columns"), nb::arg("rows"));
}

} // namespace VelPython
