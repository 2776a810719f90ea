/// The engine: computes the channels of a plan over columns of samples. For every host; it reads no file but a plan,
/// writes none, and says nothing on a terminal.
///
///     const Vel::Engine::Plan plan = Vel::Engine::LoadPlan("plan.toml"); // inputs "distance" and "time"
///     Vel::Engine::Run run(plan, 1000);                                  // blocks of up to 1000 rows
///     const std::vector<Vel::Column> inputs{Vel::Over(distances), Vel::Over(times)};
///     run.Feed(inputs, distances.size());
///     const Vel::Column speeds = run.ColumnOf(run.Find("speed"));
///     for (std::size_t row = 0; row < distances.size(); ++row)
///         use(speeds.At<double>(row));
///
/// What goes wrong throws Vel::Error, which says where, what, and what to do about it; std::bad_alloc where memory
/// ends.
///
/// Threads. Nothing here belongs to the whole process. Several runs may work in several threads, also on one plan; the
/// calls for one run must not overlap.
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

/// "250 ms", with its text for messages.
struct Duration {
    double seconds;
    std::string text;
};

/// A value as a plan says it: true or false, a whole number, a number, a list of pairs, a duration. Whole numbers that
/// TOML does not have, those from 2^63, stand in quotes.
using Value = std::variant<bool, std::int64_t, std::uint64_t, double, std::vector<std::array<double, 2>>, Duration>;

using ParametersByName = std::map<std::string, Value, std::less<>>;

/// A channel that the host feeds.
struct InputPlan {
    std::string place; ///< where the plan says it, for errors: file and line
    Channel channel;
    std::optional<std::string> column = {}; ///< its name in the recording, where it is another one
    std::uint64_t holdRows = 0;             ///< for so many rows the last sample stands in for missing ones
    bool isInterpolated = false;            ///< comes onto a raster along lines; else as the last sample
    std::optional<TimeForm> time = {};      ///< its samples are times, which the recording says like this
};

/// Rows at even times in the place of those of the recording.
struct RasterPlan {
    std::string place;
    std::string time; ///< the input that tells the time of a row, in seconds
    double period = 0;
    double maxGap = std::numeric_limits<double>::infinity(); ///< s, behind which an input has no sample any more
    bool isAligned = false;        ///< begins with a multiple of the period, in place of the first time
    double maxStep = 86400;        ///< s, above which two rows do not belong to one another
    bool beginsAnewOnStep = false; ///< then; else that is an error
};

/// A channel that is the same in every row. Its NoValue as value: it never has a sample.
struct ConstantPlan {
    std::string place;
    Channel channel;
    AnySample value;
    bool isInner = false; ///< a step on the way to others: it is no column of a result
};

/// One operation: its results are channels, its operands are channels of the plan.
struct ComputationPlan {
    std::string place;
    std::string operation;
    std::vector<Channel> results; ///< all of one type
    std::vector<std::string> operands;
    bool noValueAware = true;
    /// False: where an operation would show as data what is none (the extreme of an empty window over a gap: the end of
    /// the type), the result has no sample instead.
    bool showsOwnResultOverGaps = false;
    ParametersByName parameters;
    std::string resetWhen = {};     ///< a channel: before each row in which it is true, the computation begins anew
    std::string resetOnChange = {}; ///< a channel: so it does before each row in which this one has another sample
    std::uint64_t holdRows = 0;     ///< for so many rows the last sample stands in for missing ones
    bool isNoValueWhenRefused =
        false;                ///< a result that the operation refuses has no sample, in place of the one before
    bool isInner = false;     ///< a step on the way to others: its results are no columns of a result
    std::string formula = {}; ///< that it stands for, with the inner computations before it; empty for a block
};

struct PlanText;

/// A table of a plan, which its owner reads key by key. What is wrong in it throws Error with the line.
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
    /// A list of texts; empty if the key is not there.
    std::vector<std::string> Texts(std::string_view key) const;
    /// A list of tables, [[key]]; empty if the key is not there.
    std::vector<Section> Tables(std::string_view key) const;
    /// Refuses all other keys.
    void Allow(std::initializer_list<std::string_view> keys) const;
    /// As TOML, under this name.
    std::string Written(std::string_view name) const;

protected:
    std::shared_ptr<const PlanText> text; ///< what `table` is a part of
    const void* table;
};

/// Each kind in the order in which its channels stand in a result. Computations run in an order in which operands come
/// first.
struct Plan {
    std::string name; ///< of its file, for errors
    std::vector<InputPlan> inputs;
    std::vector<ConstantPlan> constants;
    std::vector<ComputationPlan> computations;
    std::vector<std::string> output; ///< the channels that a result shall have; empty: all but the inner ones
    std::string rowsWhen;            ///< a channel: a result has the rows alone in which it is true
    std::string rowsBeforeChange; ///< a channel: a result has the last row before each change of it, and the last row
    std::optional<RasterPlan> raster;
    std::optional<double> samplePeriod; ///< seconds from row to row, where the plan says it
    std::vector<std::string> keep;      ///< other columns of the recording that a result shall have, as they stand
    bool keepsAll = false;              ///< all other columns
    /// The tables that hosts read: "plot" and "recording", where they are there.
    std::map<std::string, Section, std::less<>> sections;
};

/// Reads a plan, a text in TOML. Refuses keys that it does not know. `name` stands in errors. `settings` replace those
/// of the plan, which has all of them.
Plan ParsePlan(std::string_view text, const std::string& name, const ParametersByName& settings = {});

/// Reads a plan from a file or a pipe.
Plan LoadPlan(const std::string& file, const ParametersByName& settings = {});

/// The value of a setting, written as in a plan. `place` stands in errors.
Value ParseValue(std::string_view text, const std::string& place);

/// The plan as a text in TOML that has blocks in the place of formulas, and values in the place of settings.
std::string Explain(const Plan& plan);

// Runs.

/// Something in the samples, or in the plan, that a user may not expect, for the summary of a run.
struct Warning {
    std::string channel;
    std::string what;
    std::uint64_t firstRow = 0; ///< from 1; 0: it is true of the plan, whatever the rows
    std::uint64_t rows = 0;     ///< how many rows it concerns
};

/// What became of one sample, step by step.
struct Step {
    bool wasCalled = true;     ///< false: the engine has kept these samples from the operation, which would crash
    bool answer = false;       ///< of Execute
    bool wasReset = false;     ///< the computation began anew before this row
    bool wasRewritten = false; ///< the operation's result was no data, and NoValue stands in its place
    Status status = Status::Computed;
};

/// A plan at work: its channels and operations. Feeding rows in blocks of any sizes gives the same results.
class Run {
public:
    /// Creates and initializes all operations. A block has up to `mostRows` rows. The plan is not needed afterwards.
    Run(const Plan& plan, std::size_t mostRows);
    Run(Run&&) noexcept;
    Run& operator=(Run&&) noexcept;
    ~Run();

    /// All channels: inputs, then constants, then results, each in the plan's order. Stay where they are.
    std::span<const Channel> Channels() const;
    std::size_t Inputs() const;
    /// Whether a channel is but a step on the way to others.
    bool IsInner(std::size_t channel) const;
    /// The index of a channel in Channels(). Throws Error, with this place, for a name that there is not.
    std::size_t Find(std::string_view name, const std::string& place = "channel") const;
    /// The channels of the plan's output.
    std::vector<std::size_t> Output() const;

    /// From the next block on, makes statuses, counts them and looks out for what warnings tell; or does not, as at the
    /// start.
    void MakeStatuses(bool areWanted);

    /// Whether the engine makes the samples of a channel: of a result, and of an input that is held or comes onto a
    /// raster.
    bool Makes(std::size_t channel) const;
    /// Lets the samples that the engine makes go into the host's memory from the next block on: room for a block,
    /// contiguous, aligned for the type. Null: into the engine's own, as at the start.
    void PutInto(std::size_t channel, void* samples);

    /// Computes a block: `inputs` has a column for each input, with `rows` rows, which is read where it lies; missing
    /// samples hold the input's NoValue. Allocates nothing in steady state. Throws std::invalid_argument for other
    /// numbers of columns, or more rows than a block has.
    ///
    /// With a raster, a block of the recording may have any number of rows and becomes any number of blocks of the
    /// raster, perhaps empty ones: this is the first of them, and Continue computes the others. The columns must stay
    /// so long. Throws Error for a step in time that the plan does not allow.
    ///
    ///     run.Feed(inputs, rows);
    ///     do
    ///         use(run.ColumnOf(0), run.Rows());
    ///     while (run.Continue());
    void Feed(std::span<const Column> inputs, std::size_t rows);
    /// Computes the next block of what has been fed. False: there is no more.
    bool Continue();
    /// The recording has ended: computes the first block of what has waited for more, which may have no rows but one of
    /// the result. False: nothing has waited.
    bool End();
    /// Of the last block.
    std::size_t Rows() const;

    /// A channel's samples of the last block, until the next.
    Column ColumnOf(std::size_t channel) const;

    /// The next row is as the first one: resets all operations, and forgets what is held. A plan with a raster does so
    /// by itself, where it says so, and not here: throws std::invalid_argument.
    void Restart();

    // The rows of a result. They are those of the last block, unless the plan chooses some of them. A chosen row may
    // be the last one of the block before.

    bool ChoosesRows() const;
    std::size_t ResultRows() const;
    /// Copies a channel's samples of these rows: room for ResultRows(), contiguous, aligned for the type.
    void CopyResult(std::size_t channel, void* samples) const;
    /// Copies the statuses of these rows, if statuses are made.
    void CopyStatuses(std::size_t computation, Status* statuses) const;
    /// The row of the recording, from 0, that one of these rows comes from: with a raster the last one that it has
    /// seen.
    std::uint64_t SourceOf(std::size_t resultRow) const;
    /// The rows of the recording so far that later rows may come from, beside the later ones of the recording.
    std::vector<std::uint64_t> SourcesInUse() const;

    /// Computations, in the plan's order.
    std::size_t Computations() const;
    /// The index of the first result in Channels(), and how many results there are.
    std::pair<std::size_t, std::size_t> ResultsOf(std::size_t computation) const;
    /// Of the rows of the last block, if statuses are made.
    std::span<const Status> StatusesOf(std::size_t computation) const;
    /// How often each status came since the beginning, while statuses are made.
    const std::array<std::uint64_t, statusTexts.size()>& TotalsOf(std::size_t computation) const;
    /// The operands in Channels().
    std::vector<std::size_t> OperandsOf(std::size_t computation) const;
    /// Of the last row, if statuses are made.
    const Step& LastStepOf(std::size_t computation) const;

    /// What there is to warn of so far.
    std::vector<Warning> Warnings() const;

private:
    class Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace Vel::Engine
