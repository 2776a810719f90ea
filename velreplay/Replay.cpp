#include "velreplay/Replay.h"

#include "engine/Engine.h"
#include "recordings/CsvWriter.h"
#include "velreplay/Interruption.h"
#include "velreplay/Picture.h"
#include "velreplay/Progress.h"
#include "vocabulary/Error.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <optional>

namespace Velreplay {

using namespace Vel::Engine;
using namespace Vel::Recordings;
using Vel::Column, Vel::Error, Vel::Status;

namespace {

/// Whether writing to one name would write over what is read under the other. Devices and pipes never do.
bool IsSameFile(const std::string& written, const std::string& read) {
    std::error_code error;
    return std::filesystem::is_regular_file(read, error) && std::filesystem::equivalent(written, read, error);
}

/// The result must not replace what it is made of.
void RefuseSameFiles(const Options& options) {
    const std::string recording = options.recording == "-" ? "/dev/stdin" : options.recording;
    const std::string result = options.result == "-" ? "/dev/stdout" : options.result;
    for (const std::string& written : {result, options.picture})
        for (const std::string& read : {options.plan, recording})
            if (IsSameFile(written, read))
                throw Error(written, "this is the file that is read as " + read, "write to another one");
    if (options.picture == options.result)
        throw Error(options.picture, "result and picture have the same name", "choose another one for the picture");
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

std::vector<Channel> InputsOf(const Plan& plan) {
    std::vector<Channel> inputs;
    for (const InputPlan& input : plan.inputs)
        inputs.push_back(input.channel);
    return inputs;
}

/// The rows of a block as the writer gets them, while the next block is read and computed.
class OutputBlocks {
public:
    OutputBlocks(Run& itsRun, std::size_t mostRows, bool itsWithStatus) : run(itsRun), withStatus(itsWithStatus) {
        std::size_t firstResult = run.Channels().size();
        for (std::size_t i = 0; i < run.Computations(); ++i)
            firstResult = std::min(firstResult, run.ResultsOf(i).first);
        for (const std::size_t channel : run.Output())
            outputs.push_back({channel, channel >= firstResult, {}});
        for (Output& output : outputs)
            if (output.isResult)
                for (auto& samples : output.memory)
                    samples.resize(mostRows * run.Channels()[output.channel].Type().size);
    }

    std::vector<Channel> Channels() const {
        std::vector<Channel> channels;
        for (const Output& output : outputs)
            channels.push_back(run.Channels()[output.channel]);
        return channels;
    }
    std::vector<std::string> StatusNames() const {
        std::vector<std::string> names;
        for (std::size_t i = 0; withStatus && i < run.Computations(); ++i)
            names.push_back(run.Channels()[run.ResultsOf(i).first].name + ".status");
        return names;
    }

    /// Before a block is fed: its results go where those of the block before are not.
    void Begin() {
        next = 1 - next;
        for (Output& output : outputs)
            if (output.isResult)
                run.PutInto(output.channel, output.memory[next].data());
    }
    /// What the writer writes of the block that has been fed.
    std::vector<Column> Columns() const {
        std::vector<Column> columns;
        for (const Output& output : outputs)
            columns.push_back(run.ColumnOf(output.channel));
        return columns;
    }
    std::vector<std::vector<Status>> Statuses() const {
        std::vector<std::vector<Status>> statuses;
        for (std::size_t i = 0; withStatus && i < run.Computations(); ++i)
            statuses.emplace_back(run.StatusesOf(i).begin(), run.StatusesOf(i).end());
        return statuses;
    }

private:
    struct Output {
        std::size_t channel;
        bool isResult;
        std::array<std::vector<std::byte>, 2> memory;
    };

    Run& run;
    bool withStatus;
    std::vector<Output> outputs;
    std::size_t next = 0;
};

void Summarize(const Run& run, std::uint64_t rows, double seconds) {
    std::fprintf(stderr, "%llu rows, %zu input and %zu other channels, %.2f s, %.0f rows/s\n",
                 static_cast<unsigned long long>(rows), run.Inputs(), run.Channels().size() - run.Inputs(), seconds,
                 static_cast<double>(rows) / (seconds > 0 ? seconds : 1));
    std::fprintf(stderr, "%-32s %12s %12s %12s\n", "", "computed", "no value", "refused");
    for (std::size_t i = 0; i < run.Computations(); ++i) {
        const auto& totals = run.TotalsOf(i);
        std::fprintf(stderr, "%-32s %12llu %12llu %12llu\n", run.Channels()[run.ResultsOf(i).first].name.c_str(),
                     static_cast<unsigned long long>(totals[0]), static_cast<unsigned long long>(totals[1]),
                     static_cast<unsigned long long>(totals[2]));
    }
}

/// One replay: what is read, computed and written.
struct Work {
    CsvReader& recording;
    Run& run;
    OutputBlocks& output;
    CsvWriter& result;
    Picture* picture;
};

/// Returns the number of rows.
std::uint64_t ReplayRows(const Work& work) {
    Progress progress(work.recording.Size());
    std::vector<Column> inputs(work.run.Inputs());
    std::uint64_t total = 0;
    std::future<void> writing; // of the last block, while the next one is read and computed
    while (const std::size_t rows = work.result.IsClosed() ? 0 : work.recording.ReadBlock()) {
        for (std::size_t i = 0; i < inputs.size(); ++i)
            inputs[i] = work.recording.ColumnOf(i);
        work.output.Begin();
        work.run.Feed(inputs, rows);
        if (work.picture != nullptr)
            work.picture->Take(rows);
        if (writing.valid())
            writing.get();
        writing = std::async(std::launch::async,
                             [&work, rows, columns = work.output.Columns(), statuses = work.output.Statuses()] {
                                 work.result.WriteRows(rows, columns, statuses);
                                 if (work.recording.IsLive())
                                     work.result.Flush();
                             });
        total += rows;
        progress.Show(work.recording.Position());
    }
    if (writing.valid())
        writing.get();
    return total;
}

/// The rows of a live source do not come again: a failure leaves those before it, and says where.
std::uint64_t ReplayRowsOrLeavePart(const Work& work) {
    try {
        return ReplayRows(work);
    } catch (const Error& failure) {
        const std::string part = work.recording.IsLive() ? work.result.LeavePart() : "";
        if (part.empty())
            throw;
        throw std::runtime_error(std::string(failure.what()) + "\n  the rows before are in " + part);
    }
}

} // namespace

bool Replay(const Options& options) {
    const auto start = std::chrono::steady_clock::now();
    const Plan plan = Vel::Engine::LoadPlan(options.plan);
    const PicturePlan picturePlan = ReadPicturePlan(plan);
    RefuseSameFiles(options);
    const std::vector<Channel> inputs = InputsOf(plan);
    const std::size_t blockBytes = BlockBytesFor(plan);
    const std::size_t mostRows = CsvReader::MostRows(blockBytes, inputs.size());
    Run run(plan, mostRows);
    run.MakeStatuses(options.withStatus || !options.isQuiet);
    std::optional<Picture> picture;
    if (!options.picture.empty())
        picture.emplace(options.picture, picturePlan, run);
    CsvReader recording(options.recording, options.format, blockBytes, IsInterrupted);
    recording.ReadHeader(inputs);

    OutputBlocks output(run, mostRows, options.withStatus);
    CsvWriter result(options.result, options.format, output.Channels());
    result.WriteHeader(output.StatusNames());
    if (recording.IsLive())
        result.Flush();

    const Work work{recording, run, output, result, picture ? &*picture : nullptr};
    const std::uint64_t rows = ReplayRowsOrLeavePart(work);
    result.Keep();
    if (picture)
        picture->Draw();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    if (!options.isQuiet)
        Summarize(run, rows, time.count());
    return !IsInterrupted();
}

} // namespace Velreplay
