#include "Replay.h"

#include "page/Summary.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_set>

namespace VelPython {

namespace {

using Vel::Error, Vel::Quoted;
using Vel::Engine::Plan, Vel::Engine::Warning;

constexpr std::size_t tableRows = std::size_t{1} << 16;

/// A block size for which the samples of all channels fit in the processor's cache.
std::size_t BlockRowsFor(const Plan& plan) {
    constexpr std::size_t samples = std::size_t{1} << 15;
    std::size_t channels = plan.inputs.size();
    for (const auto& computation : plan.computations)
        channels += computation.results.size();
    return std::clamp<std::size_t>(samples / channels, 64, 4096);
}

std::string FormatOf(const Vel::SampleType& type) {
    const std::string_view formats = "CSILcsilfg"; // in the order of the sample types
    return {formats[Vel::TypeIndex(type.letter)]};
}

} // namespace

Replay::Replay(Plan itsPlan, std::unique_ptr<Recording> itsRecording, Looks looks, bool itsEndsRun)
    : plan(std::move(itsPlan)),
      blockRows(BlockRowsFor(plan)),
      run(plan, blockRows),
      recording(std::move(itsRecording)),
      isDirect(!plan.raster && !run.ChoosesRows()),
      inputs(run.Inputs()),
      endsRun(itsEndsRun) {
    run.MakeStatuses(looks.atStatuses || looks.atWarnings);
    FindColumns(looks);
    RefuseRepeatedNames();
    schema = MakeSchema();
}

void Replay::FindColumns(Looks looks) {
    for (const std::size_t channel : run.Output()) {
        OutputColumn column;
        column.name = run.Channels()[channel].name;
        column.channel = channel;
        column.way = run.Makes(channel) ? Way::Made : Way::Copied;
        const bool isInput = channel < run.Inputs();
        sampleColumns.push_back({run.Channels()[channel], isInput ? plan.inputs[channel].time : std::nullopt});
        if (isInput && !looks.areAllSamples) {
            const auto child = recording->ChildOf(channel);
            if (child && !run.Makes(channel)) {
                AddPassed(std::move(column), *child);
                continue;
            }
            column.timeFormat = recording->TimeFormatOf(channel);
        }
        columns.push_back(std::move(column));
    }
    for (const OutputColumn& column : columns)
        names.push_back(column.name);
    for (std::size_t i = 0; looks.atStatuses && i < run.Computations(); ++i)
        if (const std::size_t first = run.ResultsOf(i).first; !run.IsInner(first)) {
            computations.push_back(i);
            names.push_back(run.Channels()[first].name + ".status");
        }
    statuses.resize(computations.size());
    kept = columns.size();
    for (const Recording::Kept& one : recording->KeptColumns()) {
        OutputColumn column;
        column.name = one.name;
        AddPassed(std::move(column), one.child);
        names.push_back(one.name);
    }
}

void Replay::AddPassed(OutputColumn column, std::size_t child) {
    column.way = Way::Passed;
    column.child = child;
    if (!isDirect)
        column.rows.emplace_back(recording->SchemaOf(child), column.name);
    columns.push_back(std::move(column));
}

void Replay::RefuseRepeatedNames() const {
    std::unordered_set<std::string_view> seen;
    for (const std::string& name : names)
        if (!seen.insert(name).second)
            throw Error("result", "two columns are called " + Quoted(name),
                        "rename the channel, or do not keep the column");
}

OwnedSchema Replay::MakeSchema() const {
    std::vector<OwnedSchema> fields;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (i == kept)
            for (std::size_t status = 0; status < computations.size(); ++status)
                fields.push_back(MakeTextsField(names[kept + status]));
        const OutputColumn& column = columns[i];
        if (column.way != Way::Passed)
            fields.push_back(MakeField(column.name, column.timeFormat.empty()
                                                        ? FormatOf(run.Channels()[column.channel].Type())
                                                        : column.timeFormat));
        else if (isDirect)
            fields.push_back(CopySchema(recording->SchemaOf(column.child), column.name));
        else
            fields.push_back(MakeField(column.name, column.rows.front().Format()));
    }
    if (kept == columns.size())
        for (std::size_t status = 0; status < computations.size(); ++status)
            fields.push_back(MakeTextsField(names[kept + status]));
    std::string rounded;
    for (std::size_t input = 0; input < run.Inputs(); ++input)
        if (recording->Rounds(input))
            rounded += (rounded.empty() ? "" : ", ") + run.Channels()[input].name;
    Metadata metadata;
    if (!rounded.empty())
        metadata.emplace_back("veloperation.rounded",
                              rounded +
                                  ": nanoseconds, computed with as the nearest Float64 in seconds since 2000-01-01");
    return MakeTableSchema(std::move(fields), metadata);
}

std::optional<Vel::Recordings::TimeStyle> Replay::TimeStyleOf(std::size_t column) const {
    if (!sampleColumns[column].time || !recording)
        return std::nullopt;
    return recording->TimeStyleOf(columns[column].channel);
}

std::vector<std::string> Replay::StatusNames() const {
    const auto first = names.begin() + static_cast<std::ptrdiff_t>(sampleColumns.size());
    return {first, first + static_cast<std::ptrdiff_t>(computations.size())};
}

void Replay::CollectPage(const std::string& file, std::uint64_t mostBytes, Vel::Page::PlotPlan itsPlot) {
    const std::lock_guard lock(mutex);
    run.MakeStatuses(true);
    plot = std::move(itsPlot);
    page.emplace(file, mostBytes, *plot, plan, run);
    Vel::Page::AddUnits(*plot, plan, [this](std::size_t input) { return recording->UnitOf(input); });
}

std::string Replay::SummaryText(std::optional<double> seconds) const {
    const std::lock_guard lock(mutex);
    return Vel::Page::SummaryText(run, computed, seconds);
}

void Replay::WritePage(const std::string& settings) {
    const std::string text = (settings.empty() ? "" : "settings: " + settings + "\n") + SummaryText(std::nullopt) +
                             Vel::Page::WarningsText(Warnings(), {});
    const std::lock_guard lock(mutex);
    page.value().Write(text);
}

std::map<std::string, std::string> Replay::Units() const {
    const std::lock_guard lock(mutex);
    std::map<std::string, std::string> units;
    for (const std::size_t channel : run.Output())
        if (recording && channel < run.Inputs() && !plan.inputs[channel].time && !recording->UnitOf(channel).empty())
            units[run.Channels()[channel].name] = recording->UnitOf(channel);
    return units;
}

std::vector<std::pair<std::string, Replay::Totals>> Replay::StatusTotals() const {
    const std::lock_guard lock(mutex);
    std::vector<std::pair<std::string, Totals>> totals;
    for (std::size_t i = 0; i < run.Computations(); ++i)
        if (const std::size_t first = run.ResultsOf(i).first; !run.IsInner(first))
            totals.emplace_back(run.Channels()[first].name, run.TotalsOf(i));
    return totals;
}

std::uint64_t Replay::RowsComputed() const {
    const std::lock_guard lock(mutex);
    return computed;
}

bool Replay::IsStatus(std::size_t column) const { return column >= kept && column - kept < computations.size(); }

OwnedArray Replay::Next() {
    OwnedArray table;
    {
        const std::lock_guard lock(mutex);
        if (fault)
            throw Error(*fault);
        if (!recording)
            return table;
        try {
            table = isDirect ? NextDirect() : NextTaken();
        } catch (const Error& error) { // stays
            fault = error;
            throw;
        }
    }
    if (progress)
        progress(RowsRead(), recording->Share());
    return table;
}

std::uint64_t Replay::RowsRead() const { return rowsBefore + position; }

/// Finds a batch with unread rows.
bool Replay::FindBatch() {
    while (!hasEnded && position == recording->Rows()) {
        EndBatch();
        hasEnded = !recording->Next();
        for (const OutputColumn& column : columns)
            if (!hasEnded && !column.rows.empty()) {
                const ArrowArray& table = **recording->Batch();
                column.rows.front().Check(*table.children[column.child], table.offset + table.length);
            }
    }
    return !hasEnded;
}

/// Saves the rows of the batch that later rows of the result may need.
void Replay::EndBatch() {
    if (!isDirect) {
        std::map<std::uint64_t, SavedRow> stillUsed;
        for (const std::uint64_t row : run.SourcesInUse())
            if (const auto before = saved.find(row); before != saved.end())
                stillUsed.insert(*before);
            else if (row >= rowsBefore && row < rowsBefore + position)
                stillUsed.emplace(row, SavedRow{recording->Batch(), static_cast<std::int64_t>(row - rowsBefore)});
        saved = std::move(stillUsed);
    }
    rowsBefore += std::exchange(position, 0);
}

/// Reads the samples of all inputs. Returns fewer rows if a value is not a valid sample.
std::size_t Replay::ReadBlock(std::size_t begin, std::size_t count) {
    for (std::size_t input = 0; input < inputs.size(); ++input) {
        const ArrowReader::Block block = recording->Read(input, begin, count);
        inputs[input] = block.column;
        if (block.rows < count) {
            fault = recording->FaultOf(input);
            count = block.rows;
        }
    }
    return count;
}

OwnedArray Replay::NextDirect() {
    if (!FindBatch())
        return {};
    const std::size_t wanted = std::min(tableRows, recording->Rows() - position);
    for (OutputColumn& column : columns)
        if (column.way != Way::Passed)
            column.samples = Buffer(wanted * SizeOf(column));
    std::size_t done = 0;
    while (done < wanted && !fault) {
        const std::size_t rows = ReadBlock(position + done, std::min(blockRows, wanted - done));
        for (OutputColumn& column : columns)
            if (column.way == Way::Made)
                run.PutInto(column.channel, column.samples.Data() + done * SizeOf(column));
        run.Feed(inputs, rows);
        if (page)
            page->Take();
        for (OutputColumn& column : columns)
            if (column.way == Way::Copied)
                CopySamples(column, done, rows);
        CopyStatuses(done);
        done += rows;
    }
    const std::size_t first = std::exchange(position, position + done);
    if (done == 0)
        throw Error(*fault);
    computed += done;
    return Table(done, static_cast<std::int64_t>(first));
}

void Replay::CopySamples(OutputColumn& column, std::size_t done, std::size_t rows) {
    const Vel::Column from = run.ColumnOf(column.channel);
    const std::size_t size = SizeOf(column);
    std::byte* const to = column.samples.Data() + done * size;
    if (from.stride == static_cast<std::ptrdiff_t>(size))
        std::memcpy(to, from.first, rows * size);
    else
        for (std::size_t row = 0; row < rows; ++row)
            std::memcpy(to + row * size, from.AddressAt(row), size);
}

/// Appends the statuses of the rows that the engine computed last.
void Replay::CopyStatuses(std::size_t done) {
    for (std::size_t i = 0; i < computations.size(); ++i) {
        statuses[i].resize(done + run.ResultRows());
        run.CopyStatuses(computations[i], statuses[i].data() + done);
    }
}

OwnedArray Replay::NextTaken() {
    try {
        while (taken < tableRows && !fault && TakeBlock())
            ;
    } catch (const Error& error) { // from the engine; the rows before it come first
        fault = error;
    }
    if (taken == 0 && fault)
        throw Error(*fault);
    return taken == 0 ? OwnedArray() : Table(std::exchange(taken, 0), 0);
}

/// False if there are no more rows, or if the rows so far should not wait for more.
bool Replay::TakeBlock() {
    if (!hasEnded && position == recording->Rows() && taken != 0 && recording->IsLive())
        return false;
    std::size_t rows = 0;
    if (FindBatch()) {
        rows = ReadBlock(position, std::min(blockRows, recording->Rows() - position));
        run.Feed(inputs, rows);
    } else if (!std::exchange(endsRun, false) || !run.End()) {
        return false;
    }
    do
        TakeRows();
    while (run.Continue());
    position += rows;
    return true;
}

/// Takes the rows of the result that the engine computed last.
void Replay::TakeRows() {
    computed += run.Rows();
    if (page)
        page->Take();
    const std::size_t rows = run.ResultRows();
    const std::shared_ptr<const OwnedArray> batch = recording->Batch();
    for (OutputColumn& column : columns) {
        if (column.way != Way::Passed) {
            column.samples.Resize((taken + rows) * SizeOf(column));
            run.CopyResult(column.channel, column.samples.Data() + taken * SizeOf(column));
            continue;
        }
        for (std::size_t row = 0; row < rows; ++row) {
            const std::uint64_t source = run.SourceOf(row);
            const auto before = saved.find(source);
            const bool isSaved = before != saved.end();
            const ArrowArray& table = isSaved ? **before->second.batch : **batch;
            column.rows.front().Append(
                *table.children[column.child],
                table.offset + (isSaved ? before->second.row : static_cast<std::int64_t>(source - rowsBefore)));
        }
    }
    CopyStatuses(taken);
    taken += rows;
}

OwnedArray Replay::Table(std::size_t rows, std::int64_t first) {
    std::vector<OwnedArray> arrays;
    for (std::size_t i = 0; i < kept; ++i)
        arrays.push_back(ColumnOf(columns[i], rows, first));
    for (std::vector<Vel::Status>& ofComputation : statuses) {
        arrays.push_back(MakeStatuses(std::span(ofComputation).first(rows)));
        ofComputation.clear();
    }
    for (std::size_t i = kept; i < columns.size(); ++i)
        arrays.push_back(ColumnOf(columns[i], rows, first));
    return MakeTable(rows, std::move(arrays));
}

OwnedArray Replay::ColumnOf(OutputColumn& column, std::size_t rows, std::int64_t first) {
    if (column.way == Way::Passed) {
        if (!isDirect)
            return column.rows.front().Finish();
        const std::shared_ptr<const OwnedArray> batch = recording->Batch();
        const ArrowArray& table = **batch;
        return ShareArray(*table.children[column.child], table.offset + first, static_cast<std::int64_t>(rows), batch);
    }
    if (!column.timeFormat.empty())
        return TimesOf(column, rows);
    return MakeSamples(rows, std::exchange(column.samples, Buffer()), run.Channels()[column.channel].noValue);
}

/// Seconds since 2000 as microseconds since 1970.
OwnedArray Replay::TimesOf(OutputColumn& column, std::size_t rows) const {
    constexpr double epoch = 946'684'800;
    constexpr double perSecond = 1e6;
    constexpr double most = 9e18;
    constexpr auto none = std::numeric_limits<std::int64_t>::min();
    const double noValue = std::get<double>(run.Channels()[column.channel].noValue);
    Buffer times(rows * sizeof(std::int64_t));
    for (std::size_t row = 0; row < rows; ++row) {
        double seconds = 0;
        std::memcpy(&seconds, column.samples.Data() + row * sizeof seconds, sizeof seconds);
        const double whole = std::floor(seconds);
        const double time = (whole + epoch) * perSecond;
        std::int64_t microseconds = none;
        if (!Vel::IsNoValue(seconds, noValue) && std::abs(time) < most)
            microseconds = static_cast<std::int64_t>(whole + epoch) * static_cast<std::int64_t>(perSecond) +
                           std::llround((seconds - whole) * perSecond);
        std::memcpy(times.Data() + row * sizeof microseconds, &microseconds, sizeof microseconds);
    }
    column.samples = Buffer();
    return MakeSamples(rows, std::move(times), Vel::AnySample(none));
}

void Replay::GoOn(std::unique_ptr<Recording> more) {
    const std::lock_guard lock(mutex);
    const auto refuse = [](const std::string& what) {
        throw Error("data", what, "feed tables with equal columns, whose types are equal");
    };
    if (more->KeptColumns().size() != recording->KeptColumns().size())
        refuse("there are other columns than in the rows before");
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const OutputColumn& column = columns[i];
        if (column.way != Way::Passed)
            continue;
        const std::size_t child = i < kept ? *more->ChildOf(column.channel) : more->KeptColumns()[i - kept].child;
        if (child != column.child) // rows of the previous batch may still be needed
            refuse("the column " + Quoted(column.name) + " stands at another place than in the rows before");
        const ArrowSchema& before = recording->SchemaOf(child);
        const ArrowSchema& now = more->SchemaOf(child);
        if (std::string_view(before.format) != now.format ||
            (before.dictionary == nullptr) != (now.dictionary == nullptr) || before.n_children != now.n_children)
            refuse("the column " + Quoted(column.name) + " has the type " + TypeOf(now).name + ", and had the type " +
                   TypeOf(before).name + " in the rows before");
    }
    EndBatch();
    recording = std::move(more);
    hasEnded = false;
    endsRun = false;
}

void Replay::EndRecording() {
    const std::lock_guard lock(mutex);
    endsRun = true;
}

void Replay::Close() {
    const std::lock_guard lock(mutex);
    if (!recording)
        return;
    closedWarnings = run.Warnings();
    for (Warning& warning : recording->Warnings())
        closedWarnings.push_back(std::move(warning));
    recording.reset();
    saved.clear();
}

std::vector<Warning> Replay::Warnings() const {
    const std::lock_guard lock(mutex);
    if (!recording)
        return closedWarnings;
    std::vector<Warning> warnings = run.Warnings();
    for (Warning& warning : recording->Warnings())
        warnings.push_back(std::move(warning));
    return warnings;
}

} // namespace VelPython
