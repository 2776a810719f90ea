/// The engine computes the channels of a plan over columns of samples. Any host can use it: it reads no file but the
/// plan, writes none, and prints nothing.
///
///     const Vel::Engine::Plan plan = Vel::Engine::LoadPlan("plan.toml"); // inputs "distance" and "time"
///     Vel::Engine::Run run(plan, 1000);                                  // blocks of up to 1000 rows
///     const std::vector<Vel::Column> inputs{Vel::Over(distances), Vel::Over(times)};
///     run.Feed(inputs, distances.size());
///     const Vel::Column speeds = run.ColumnOf(run.Find("speed"));
///     for (std::size_t row = 0; row < distances.size(); ++row)
///         use(speeds.At<double>(row));
///
/// Errors are thrown as Vel::Error, which says where the fault is, what it is and how to mend it. Running out of memory
/// throws std::bad_alloc.
///
/// Threads: there is no state shared by the whole process. Several threads may each use a run of their own, even of the
/// same plan. Calls on one run must not overlap.
#pragma once

#include "vocabulary/Columns.h"
#include "vocabulary/Error.h"
#include "vocabulary/TimeForm.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Vel::Engine {

// Plans.

using Channel = ChannelType;

/// A duration such as "250 ms", with its text for messages.
struct Duration {
    double seconds;
    std::string text;
};

/// A value in a plan: true or false, a whole number, a number, a list of pairs, or a duration. Whole numbers from 2^63
/// on, which TOML lacks, are written in quotes.
using Value = std::variant<bool, std::int64_t, std::uint64_t, double, std::vector<std::array<double, 2>>, Duration>;

using ParametersByName = std::map<std::string, Value, std::less<>>;

/// A channel that the host feeds.
struct InputPlan {
    std::string place; ///< file and line in the plan, for errors
    Channel channel;
    std::optional<std::string> column = {}; ///< its name in the recording, if that differs
    std::uint64_t holdRows = 0;             ///< how many successive missing samples the last sample replaces
    bool isInterpolated = false;            ///< resampled linearly on a raster; otherwise the last sample is used
    std::optional<TimeForm> time = {};      ///< if its samples are times: their form in the recording
};

/// Rows at even times that replace those of the recording.
struct RasterPlan {
    std::string place;
    std::string time; ///< the input that holds the time of a row, in seconds
    double period = 0;
    double maxGap = std::numeric_limits<double>::infinity(); ///< s; an older sample counts as missing
    bool isAligned = false;        ///< begins at a multiple of the period instead of the first time
    double maxStep = 86400;        ///< s; the longest step between two rows that belong together
    bool beginsAnewOnStep = false; ///< a longer step restarts the raster; otherwise it is an error
};

/// A channel with the same sample in every row. If the value is its NoValue, it never has a sample.
struct ConstantPlan {
    std::string place;
    Channel channel;
    AnySample value;
    bool isInner = false; ///< an intermediate step, not a column of the result
};

/// One operation. Its results become channels; its operands are channels of the plan.
struct ComputationPlan {
    std::string place;
    std::string operation;
    std::vector<Channel> results; ///< all of one type
    std::vector<std::string> operands;
    bool noValueAware = true;
    /// False: the result has no sample where the operation would write a number that is not data (over a gap the
    /// extreme of an empty window is the end of the type).
    bool showsOwnResultOverGaps = false;
    ParametersByName parameters;
    std::string resetWhen = {};        ///< a channel: the computation is reset before each row in which it is true
    std::string resetOnChange = {};    ///< a channel: the same before each row in which its sample changes
    std::uint64_t holdRows = 0;        ///< how many successive missing samples the last sample replaces
    bool isNoValueWhenRefused = false; ///< a refused row has no sample; otherwise it repeats the row before
    bool isInner = false;              ///< an intermediate step: its results are not columns of the result
    std::string formula = {}; ///< the formula it comes from, with the inner computations before it; empty for a block
};

struct PlanText;

/// A table of a plan. Its user reads it key by key. Faults in it throw Error with the line.
class Section {
public:
    Section(std::shared_ptr<const PlanText> itsText, const void* itsTable)
        : text(std::move(itsText)), table(itsTable) {}

    /// File and line.
    std::string Place() const;
    bool Has(std::string_view key) const;
    std::optional<bool> Flag(std::string_view key) const;
    std::optional<std::int64_t> Whole(std::string_view key) const;
    std::optional<std::string> Text(std::string_view key) const;
    std::string NeededText(std::string_view key) const;
    /// A list of texts; empty if the key is missing.
    std::vector<std::string> Texts(std::string_view key) const;
    /// A list of tables, [[key]]; empty if the key is missing.
    std::vector<Section> Tables(std::string_view key) const;
    /// Throws Error if there are other keys.
    void Allow(std::initializer_list<std::string_view> keys) const;
    /// The table as TOML, under this name.
    std::string Written(std::string_view name) const;

protected:
    std::shared_ptr<const PlanText> text; ///< keeps `table` alive
    const void* table;
};

/// Each list is in the order of the result's columns. Computations run in another order if operands need it.
struct Plan {
    std::string name; ///< of its file, for errors
    std::string text; ///< as it was parsed
    std::vector<InputPlan> inputs;
    std::vector<ConstantPlan> constants;
    std::vector<ComputationPlan> computations;
    std::vector<std::string> output; ///< the columns of the result; empty: all channels but inner ones
    std::string rowsWhen;            ///< a channel: the result has only the rows in which it is true
    std::string rowsBeforeChange;    ///< a channel: the result has the last row before each change, and the last row
    std::optional<RasterPlan> raster;
    std::optional<double> samplePeriod; ///< seconds from row to row, if the plan gives it
    std::vector<std::string> keep;      ///< other columns of the recording, copied to the result unchanged
    bool keepsAll = false;              ///< copies all other columns
    /// The tables that hosts read, if present: "plot" and "recording".
    std::map<std::string, Section, std::less<>> sections;
};

/// Parses a plan, a text in TOML. Throws Error for unknown keys. `name` appears in errors. `settings` replace those of
/// the plan; each must exist there.
Plan ParsePlan(std::string_view text, const std::string& name, const ParametersByName& settings = {});

/// Reads a plan from a file or a pipe.
Plan LoadPlan(const std::string& file, const ParametersByName& settings = {});

/// Parses the value of a setting, written as in a plan. `place` appears in errors.
Value ParseValue(std::string_view text, const std::string& place);

/// The plan as TOML, with formulas replaced by blocks and settings by their values.
std::string Explain(const Plan& plan);

// Runs.

/// Something unexpected in the samples or in the plan, for the summary of a run.
struct Warning {
    std::string channel;
    std::string what;
    std::uint64_t firstRow = 0; ///< from 1; 0 if the warning is about the plan, not about rows
    std::uint64_t rows = 0;     ///< how many rows it affects
};

/// How one sample was computed.
struct Step {
    bool wasCalled = true;     ///< false: the operation would crash on these samples, so the engine did not call it
    bool answer = false;       ///< what Execute returned
    bool wasReset = false;     ///< the computation was reset before this row
    bool wasRewritten = false; ///< the operation's result was not data, so NoValue replaced it
    Status status = Status::Computed;
};

/// Runs a plan. The results do not depend on how the rows are split into blocks.
class Run {
public:
    /// Creates and initializes all operations. A block has up to `mostRows` rows. The plan is not needed
    /// afterwards.
    Run(const Plan& plan, std::size_t mostRows);
    Run(Run&&) noexcept;
    Run& operator=(Run&&) noexcept;
    ~Run();

    /// All channels: inputs, then constants, then results, each in the plan's order. Valid while the run lives.
    std::span<const Channel> Channels() const;
    std::size_t Inputs() const;
    /// Whether a channel is only an intermediate step.
    bool IsInner(std::size_t channel) const;
    /// The index of a channel in Channels(). Throws Error, with this place, for an unknown name.
    std::size_t Find(std::string_view name, const std::string& place = "channel") const;
    /// Indices of the channels in the plan's output.
    std::vector<std::size_t> Output() const;

    /// From the next block on, turns statuses, their counts and the checks for warnings on or off. Off at first.
    void MakeStatuses(bool areWanted);

    /// Whether the engine writes the samples of a channel: true for results, and for inputs that are held or resampled.
    bool Makes(std::size_t channel) const;
    /// From the next block on, writes a channel's samples to the host's memory: room for a block, contiguous and
    /// aligned for the type. Null: to the engine's own memory, as at first.
    void PutInto(std::size_t channel, void* samples);

    /// Computes a block. `inputs` has a column of `rows` rows for each input, which is read without a copy. Missing
    /// samples hold the input's NoValue. Allocates nothing in steady state. Throws std::invalid_argument for a wrong
    /// number of columns, or for more rows than a block may have.
    ///
    /// With a raster, the rows fed may be any number. They become any number of blocks of the raster, some perhaps
    /// empty. Feed computes the first of these, Continue the others; the columns must remain valid until then. Throws
    /// Error for a step in time that the plan does not allow.
    ///
    ///     run.Feed(inputs, rows);
    ///     do
    ///         use(run.ColumnOf(0), run.Rows());
    ///     while (run.Continue());
    void Feed(std::span<const Column> inputs, std::size_t rows);
    /// Computes the next block from the rows fed. False if there is none.
    bool Continue();
    /// Call it when the recording has ended. Computes the first block of what is still pending. The block may have no
    /// rows and yet a row of the result. False if nothing was pending.
    bool End();
    /// The number of rows in the last block.
    std::size_t Rows() const;

    /// A channel's samples of the last block. Valid until the next block.
    Column ColumnOf(std::size_t channel) const;

    /// Treats the next row as the first one: resets all operations and forgets held samples. Throws
    /// std::invalid_argument for a plan with a raster, which restarts by itself where the plan says so.
    void Restart();

    // The rows of the result: those of the last block, or the ones that the plan chooses. A chosen row may be the last
    // one of the previous block.

    bool ChoosesRows() const;
    std::size_t ResultRows() const;
    /// Copies a channel's samples in these rows. `samples` has room for ResultRows(), contiguous, aligned for the type.
    void CopyResult(std::size_t channel, void* samples) const;
    /// Copies the statuses of these rows. Only if statuses are on.
    void CopyStatuses(std::size_t computation, Status* statuses) const;
    /// The row of the recording, from 0, that a result row comes from. With a raster: the last row that it used.
    std::uint64_t SourceOf(std::size_t resultRow) const;
    /// The rows fed so far from which later result rows may still come.
    std::vector<std::uint64_t> SourcesInUse() const;

    /// Computations, in the plan's order.
    std::size_t Computations() const;
    /// The index of the first result in Channels(), and how many results there are.
    std::pair<std::size_t, std::size_t> ResultsOf(std::size_t computation) const;
    /// The statuses of the last block's rows. Only if statuses are on.
    std::span<const Status> StatusesOf(std::size_t computation) const;
    /// How often each status has come so far while statuses were on.
    const std::array<std::uint64_t, statusTexts.size()>& TotalsOf(std::size_t computation) const;
    /// Indices of the operands in Channels().
    std::vector<std::size_t> OperandsOf(std::size_t computation) const;
    /// How the last row was computed. Only if statuses are on.
    const Step& LastStepOf(std::size_t computation) const;

    /// The warnings so far.
    std::vector<Warning> Warnings() const;

private:
    class Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace Vel::Engine
