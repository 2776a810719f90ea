#include "velreplay/Replay.h"

#include "engine/Engine.h"
#include "page/PageFile.h"
#include "page/PlotPlan.h"
#include "page/Summary.h"
#include "recordings/CsvWriter.h"
#include "velreplay/Interruption.h"
#include "velreplay/Picture.h"
#include "velreplay/Progress.h"
#include "velreplay/Trace.h"
#include "vocabulary/Error.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_set>

namespace Velreplay {

using namespace Vel::Engine;
using namespace Vel::Page;
using namespace Vel::Recordings;
using Vel::Column, Vel::Error, Vel::Status;

namespace {

/// Whether writing to one name would overwrite the file that is read under the other. Devices and pipes never do.
bool IsSameFile(const std::string& written, const std::string& read) {
    std::error_code error;
    return std::filesystem::is_regular_file(read, error) && std::filesystem::equivalent(written, read, error);
}

/// The result must not replace what it is made of.
void RefuseSameFiles(const Options& options) {
    const std::string result = options.result == "-" ? "/dev/stdout" : options.result;
    std::vector<std::string> readFiles{options.plan};
    for (const std::string& recording : options.recordings)
        readFiles.push_back(recording == "-" ? "/dev/stdin" : recording);
    for (const std::string& written : {result, options.picture, options.page})
        for (const std::string& read : readFiles)
            if (IsSameFile(written, read))
                throw Error(written, "this is the file that is read as " + read, "write to another one");
    const auto refuseSame = [](const std::string& one, const std::string& other, const std::string& what) {
        if (!one.empty() && !other.empty() && IsSamePlace(one, other))
            throw Error(one, what + " would be the same file", "choose another name for one of them");
    };
    refuseSame(options.picture, result, "result and picture");
    refuseSame(options.page, result, "result and page");
    refuseSame(options.page, options.picture, "picture and page");
}

/// How many bytes of a recording are read and computed at a time. Bounds the memory for the samples of all channels,
/// however many there are.
std::size_t BlockBytesFor(const Plan& plan) {
    constexpr std::size_t mostBytes = std::size_t{1} << 16;
    constexpr std::size_t leastBytes = 64;
    constexpr std::size_t mostSamples = std::size_t{1} << 20;
    std::size_t channels = plan.inputs.size() + plan.constants.size();
    for (const ComputationPlan& computation : plan.computations)
        channels += computation.results.size();
    const std::size_t rowBytes = std::max<std::size_t>(2, plan.inputs.size()); // separators and the line end
    return std::clamp(mostSamples / channels * rowBytes, leastBytes, mostBytes);
}

std::vector<WantedColumn> WantedBy(const Plan& plan) {
    std::vector<WantedColumn> wanted;
    for (const InputPlan& input : plan.inputs)
        wanted.push_back({input.channel, input.column.value_or(input.channel.name), input.time, input.place});
    return wanted;
}

/// The rows of a block as the writer gets them, while the next block is read and computed.
class OutputBlocks {
public:
    OutputBlocks(const Plan& plan, Run& itsRun, std::size_t mostRows, bool withStatus)
        : run(itsRun), computations(withStatus ? OuterComputations(itsRun) : std::vector<std::size_t>()) {
        const std::size_t rowsOfResult = mostRows + (run.ChoosesRows() ? 1 : 0); // that of the block before
        for (const std::size_t channel : run.Output())
            outputs.push_back({channel, run.ChoosesRows() || run.Makes(channel),
                               channel < run.Inputs() ? plan.inputs[channel].time : std::nullopt});
        for (Output& output : outputs)
            if (output.isOwn)
                for (auto& samples : output.memory)
                    samples.resize(rowsOfResult * run.Channels()[output.channel].Type().size);
    }

    std::vector<ResultColumn> ResultColumns() const {
        std::vector<ResultColumn> columns;
        for (const Output& output : outputs)
            columns.push_back({run.Channels()[output.channel], output.time});
        return columns;
    }
    /// Makes times look as they do in the recording.
    void HandOnTimeStyles(const CsvReader& recording, CsvWriter& result) const {
        for (std::size_t i = 0; i < outputs.size(); ++i)
            if (outputs[i].time)
                if (const auto& style = recording.TimeStyleOf(outputs[i].channel))
                    result.SetTimeStyle(i, *style);
    }
    std::vector<std::string> StatusNames() const {
        std::vector<std::string> names;
        for (const std::size_t i : computations)
            names.push_back(run.Channels()[run.ResultsOf(i).first].name + ".status");
        return names;
    }

    /// Call before a block is fed: its results must not overwrite those of the block before.
    void Begin() {
        next = 1 - next;
        if (!run.ChoosesRows())
            for (Output& output : outputs)
                if (output.isOwn)
                    run.PutInto(output.channel, output.memory[next].data());
    }
    /// The columns of the block that has been computed, for the writer.
    std::vector<Column> Columns() {
        std::vector<Column> columns;
        for (Output& output : outputs) {
            if (run.ChoosesRows()) {
                const std::size_t size = run.Channels()[output.channel].Type().size;
                run.CopyResult(output.channel, output.memory[next].data());
                columns.push_back({output.memory[next].data(), static_cast<std::ptrdiff_t>(size)});
            } else {
                columns.push_back(run.ColumnOf(output.channel));
            }
        }
        return columns;
    }
    std::vector<std::vector<Status>> Statuses() const {
        std::vector<std::vector<Status>> statuses;
        for (const std::size_t i : computations)
            run.CopyStatuses(i, statuses.emplace_back(run.ResultRows()).data());
        return statuses;
    }

private:
    struct Output {
        std::size_t channel;
        bool isOwn;                        ///< its samples stand in this memory
        std::optional<Vel::TimeForm> time; ///< of an input
        std::array<std::vector<std::byte>, 2> memory = {};
    };

    Run& run;
    std::vector<std::size_t> computations; ///< with a column of statuses
    std::vector<Output> outputs;
    std::size_t next = 0;
};

/// The texts of kept columns for the rows of a result.
class KeptTexts {
public:
    /// `isCopied`: the rows of the result are not those of the recording.
    KeptTexts(const CsvReader& itsRecording, const Run& itsRun, bool itsIsCopied)
        : recording(itsRecording), run(itsRun), isCopied(itsIsCopied), count(recording.KeptNames().size()) {
        for (auto& columns : copies)
            columns.resize(count);
    }

    /// The texts for the rows of the result that have just been computed. They stay while the next ones are computed.
    std::vector<const TextColumn*> Columns() {
        next = 1 - next;
        std::vector<const TextColumn*> columns;
        for (std::size_t i = 0; i < count; ++i)
            columns.push_back(isCopied ? &Copy(i) : &recording.TextsOf(i));
        return columns;
    }
    /// Call after each block of the recording: saves the texts that later rows of the result may need.
    void EndBlock(std::size_t rows) {
        if (isCopied && count != 0) {
            std::map<std::uint64_t, std::vector<std::string>> stillUsed;
            for (const std::uint64_t row : run.SourcesInUse())
                for (std::size_t i = 0; i < count; ++i)
                    stillUsed[row].emplace_back(At(i, row));
            saved = std::move(stillUsed);
        }
        firstRow += rows;
    }

private:
    const TextColumn& Copy(std::size_t column) {
        TextColumn& copy = copies[next][column];
        copy.Clear();
        for (std::size_t row = 0; row < run.ResultRows(); ++row)
            copy.Append(At(column, run.SourceOf(row)));
        return copy;
    }
    std::string_view At(std::size_t column, std::uint64_t row) const {
        return row < firstRow ? std::string_view(saved.at(row)[column])
                              : recording.TextsOf(column).At(static_cast<std::size_t>(row - firstRow));
    }

    const CsvReader& recording;
    const Run& run;
    bool isCopied;
    std::size_t count;
    std::uint64_t firstRow = 0; ///< of the block of the recording
    std::map<std::uint64_t, std::vector<std::string>> saved;
    std::array<std::vector<TextColumn>, 2> copies;
    std::size_t next = 0;
};

/// A result with two columns of one name could not be read back.
void RefuseRepeatedNames(const std::vector<ResultColumn>& columns, const std::vector<std::string>& statusNames,
                         const std::vector<std::string>& keptNames) {
    std::unordered_set<std::string_view> names;
    for (const ResultColumn& column : columns)
        names.insert(column.channel.name);
    for (const std::string& name : statusNames)
        if (!names.insert(name).second)
            throw Error("--status", "a column of statuses and a channel are both called " + Vel::Quoted(name),
                        "rename the channel");
    for (const std::string& name : keptNames)
        if (!names.insert(name).second)
            throw Error("keep", "a column that is kept and another of the result are both called " + Vel::Quoted(name),
                        "rename the channel, or do not keep the column");
}

/// One replay: what is read, computed and written.
struct Work {
    CsvReader& recording;
    Run& run;
    OutputBlocks& output;
    CsvWriter& result;
    Picture* picture;
    PageFile* page;
    bool isResampled; ///< onto a raster
};

/// Returns the number of rows.
std::uint64_t ReplayRows(const Work& work) {
    Progress progress(work.recording.Size());
    std::vector<Column> inputs(work.run.Inputs());
    KeptTexts texts(work.recording, work.run, work.isResampled || work.run.ChoosesRows());
    std::uint64_t total = 0;
    std::future<void> writing; // of the last block, while the next one is read and computed
    const auto readBlock = [&] {
        try {
            return work.result.IsClosed() ? 0 : work.recording.ReadBlock();
        } catch (const Error&) {
            if (writing.valid())
                writing.get(); // a failure there is the older one
            throw;
        }
    };
    // A block has been computed: it is written while the next one comes.
    const auto takeBlock = [&] {
        total += work.run.Rows();
        if (work.picture != nullptr)
            work.picture->Take(work.run.Rows());
        if (work.page != nullptr)
            work.page->Take();
        if (writing.valid())
            writing.get();
        work.output.HandOnTimeStyles(work.recording, work.result);
        writing = std::async(std::launch::async, [&work, rows = work.run.ResultRows(), texts = texts.Columns(),
                                                  columns = work.output.Columns(), statuses = work.output.Statuses()] {
            work.result.WriteRows({rows, columns, statuses, texts});
            if (work.recording.IsLive())
                work.result.Flush();
        });
        work.output.Begin();
    };
    work.output.Begin();
    while (const std::size_t rows = readBlock()) {
        for (std::size_t i = 0; i < inputs.size(); ++i)
            inputs[i] = work.recording.ColumnOf(i);
        work.run.Feed(inputs, rows);
        do
            takeBlock();
        while (work.run.Continue());
        texts.EndBlock(rows);
        progress.Show(work.recording.Position());
    }
    if (work.run.End())
        do
            takeBlock();
        while (work.run.Continue());
    if (writing.valid())
        writing.get();
    return total;
}

/// If the recording is to blame for a failure, or its rows do not come again, as those of a live source, the rows
/// before the failure stay in a file, and the message names it.
std::uint64_t ReplayRowsOrLeavePart(const Work& work) {
    const auto leavePart = [&work] {
        return work.recording.IsLive() || work.recording.IsBad() ? work.result.LeavePart() : std::string();
    };
    try {
        return ReplayRows(work);
    } catch (const Error& failure) {
        const std::string part = leavePart();
        if (part.empty())
            throw;
        throw std::runtime_error(std::string(failure.what()) + "\n  the rows before are in " + Vel::Escaped(part));
    } catch (...) {
        if (const std::string part = leavePart(); !part.empty())
            std::fprintf(stderr, "the rows before the failure are in %s\n", Vel::Escaped(part).c_str());
        throw;
    }
}

} // namespace

/// Reads up to a row, and shows how a channel came to its sample there.
Outcome Trace(const Options& options) {
    const Plan plan = LoadPlan(options.plan, options.settings);
    const std::vector<WantedColumn> wanted = WantedBy(plan);
    const std::size_t blockBytes = BlockBytesFor(plan);
    Run run(plan, 1); // row by row, so that the last step of each computation is the one to show
    run.MakeStatuses(true);
    const std::size_t channel = run.Find(options.tracedChannel, "--trace");
    CsvReader recording(options.recordings, MakeFormat(options.format, plan), blockBytes, IsInterrupted);
    recording.ReadHeader(wanted);
    std::uint64_t row = 0;
    std::vector<Column> columns(wanted.size());
    const auto isThere = [&] {
        do
            if (run.Rows() != 0 && ++row == options.tracedRow)
                return true;
        while (run.Continue());
        return false;
    };
    std::uint64_t rowsSeen = 0; // of the recording
    const auto show = [&] {
        ShowTrace(plan, run, channel, options.tracedRow, rowsSeen);
        return Outcome::Done;
    };
    while (const std::size_t rows = recording.ReadBlock())
        for (std::size_t next = 0; next < rows; ++next, ++rowsSeen) {
            for (std::size_t i = 0; i < columns.size(); ++i)
                columns[i] = {recording.ColumnOf(i).AddressAt(next), 0};
            run.Feed(columns, 1);
            if (isThere())
                return show();
        }
    if (IsInterrupted())
        return Outcome::Interrupted;
    if (run.End() && isThere())
        return show();
    throw Error("--trace", "there is no row " + std::to_string(options.tracedRow),
                "there are " + std::to_string(row) + "; the first is 1");
}

Outcome Check(const Options& options) {
    const Plan plan = LoadPlan(options.plan, options.settings);
    Run run(plan, 1);
    MakeFormat(options.format, plan);
    for (const InputPlan& input : plan.inputs)
        if (input.time)
            TimeReader(*input.time, input.place); // refuses zones and formats that there are not
    CheckChannels(ReadPlotPlan(plan), run);
    std::printf("%s is right: %zu inputs, %zu computed channels\n", options.plan.c_str(), run.Inputs(),
                OuterComputations(run).size());
    const std::vector<Warning> warnings = run.Warnings();
    std::fputs(WarningsText(warnings, {}).c_str(), stderr);
    return options.isStrict && !warnings.empty() ? Outcome::HasWarnings : Outcome::Done;
}

Outcome Replay(const Options& options) {
    const auto start = std::chrono::steady_clock::now();
    const Plan plan = Vel::Engine::LoadPlan(options.plan, options.settings);
    PlotPlan plot = ReadPlotPlan(plan);
    Bound(plot, options.from, options.to);
    RefuseSameFiles(options);
    const CsvFormat format = MakeFormat(options.format, plan);
    const std::vector<WantedColumn> wanted = WantedBy(plan);
    const std::size_t blockBytes = BlockBytesFor(plan);
    const std::size_t mostRows = CsvReader::MostRows(blockBytes, wanted);
    Run run(plan, mostRows);
    run.MakeStatuses(options.withStatus || !options.isQuiet || options.isStrict || !options.page.empty());
    std::optional<Picture> picture;
    if (!options.picture.empty())
        picture.emplace(options.picture, plot, run);
    std::optional<PageFile> page;
    if (!options.page.empty())
        page.emplace(options.page, options.pageBytes, plot, plan, run);
    CsvReader recording(options.recordings, format, blockBytes, IsInterrupted);
    recording.ReadHeader(wanted, {plan.keep, plan.keepsAll});
    if (IsInterrupted()) // perhaps amid the header: there is no result to speak of
        return Outcome::Interrupted;
    if (picture || page)
        AddUnits(plot, plan, [&recording](std::size_t input) { return recording.UnitOf(input); });

    OutputBlocks output(plan, run, mostRows, options.withStatus);
    RefuseRepeatedNames(output.ResultColumns(), output.StatusNames(), recording.KeptNames());
    CsvWriter result(options.result, format, output.ResultColumns());
    result.WriteHeader(output.StatusNames(), recording.KeptNames());
    if (recording.IsLive())
        result.Flush();

    const Work work{recording,
                    run,
                    output,
                    result,
                    picture ? &*picture : nullptr,
                    page ? &*page : nullptr,
                    plan.raster.has_value()};
    const std::uint64_t rows = ReplayRowsOrLeavePart(work);
    result.Keep();
    if (picture)
        picture->Draw();
    const std::vector<Warning> warnings = WarningsOf(run, recording);
    const std::string warningsText = WarningsText(warnings, recording.TakenBadCells());
    if (page)
        page->Write((options.settingsText.empty() ? "" : "settings: " + options.settingsText + "\n") +
                    SummaryText(run, rows, std::nullopt) + warningsText);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    if (!options.isQuiet)
        std::fputs(SummaryText(run, rows, time.count()).c_str(), stderr);
    if (!options.isQuiet || options.isStrict)
        std::fputs(warningsText.c_str(), stderr);
    if (IsInterrupted())
        return Outcome::Interrupted;
    return options.isStrict && (!warnings.empty() || recording.TakenBadCells().count != 0) ? Outcome::HasWarnings
                                                                                           : Outcome::Done;
}

} // namespace Velreplay
