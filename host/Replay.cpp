#include "host/Replay.h"

#include "host/Channels.h"
#include "host/Computation.h"
#include "host/Failure.h"
#include "host/Picture.h"
#include "host/Plan.h"
#include "host/Progress.h"
#include "host/Result.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <future>
#include <optional>

namespace Velreplay {

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
                throw Failure(written, "this is the file that is read as " + read, "write to another one");
    if (options.picture == options.result)
        throw Failure(options.picture, "result and picture have the same name", "choose another one for the picture");
}

/// How much of a recording is read and computed at a time.
struct BlockSize {
    std::size_t bytes;
    std::size_t rows; ///< the most that the bytes can hold
};

/// Bounds the memory for the samples of all channels, however many there are.
BlockSize BlockSizeFor(const Plan& plan) {
    constexpr std::size_t mostBytes = std::size_t{1} << 16;
    constexpr std::size_t leastBytes = 64;
    constexpr std::size_t mostSamples = std::size_t{1} << 20;
    std::size_t channels = plan.inputs.size() + plan.constants.size();
    for (const ComputationPlan& computation : plan.computations)
        channels += computation.results.size();
    const std::size_t rowBytes = std::max<std::size_t>(2, plan.inputs.size()); // separators and the line end
    const std::size_t bytes = std::clamp(mostSamples / channels * rowBytes, leastBytes, mostBytes);
    return {bytes, bytes / rowBytes + 1};
}

/// The channels and computations of a plan.
struct Setup {
    Channels channels;
    std::vector<Channel*> inputs;
    std::deque<Computation> computations;

    Setup(const Plan& plan, std::size_t rows) {
        for (const InputPlan& input : plan.inputs)
            inputs.push_back(&channels.Add(input.place, input.channel, rows));
        for (const ConstantPlan& constant : plan.constants)
            FillConstant(channels.Add(constant.place, constant.channel, rows), constant.value);
        for (const ComputationPlan& computation : plan.computations) {
            std::vector<Channel*> operands = channels.FindAll(computation.place, computation.operands);
            std::vector<Channel*> results;
            for (const Channel& result : computation.results)
                results.push_back(&channels.Add(computation.place, result, rows));
            computations.emplace_back(computation, std::move(results), std::move(operands));
        }
    }

    void FinishBlock(std::size_t rows) {
        for (Channel& channel : channels.All())
            Finish(channel, rows);
        for (Computation& computation : computations)
            computation.Finish();
    }

    std::vector<const Channel*> Chosen(const Plan& plan) {
        std::vector<const Channel*> chosen;
        for (const Channel* const channel : channels.FindAll(plan.file + ": output", plan.output))
            chosen.push_back(channel);
        if (chosen.empty())
            for (const Channel& channel : channels.All())
                chosen.push_back(&channel);
        return chosen;
    }
};

void Summarize(const Setup& setup, std::uint64_t rows, double seconds) {
    std::fprintf(stderr, "%llu rows, %zu input and %zu other channels, %.2f s, %.0f rows/s\n",
                 static_cast<unsigned long long>(rows), setup.inputs.size(),
                 setup.channels.All().size() - setup.inputs.size(), seconds,
                 static_cast<double>(rows) / (seconds > 0 ? seconds : 1));
    std::fprintf(stderr, "%-32s %12s %12s %12s\n", "", "computed", "no value", "refused");
    for (const Computation& computation : setup.computations)
        std::fprintf(stderr, "%-32s %12llu %12llu %12llu\n", computation.Name().c_str(),
                     static_cast<unsigned long long>(computation.Totals()[0]),
                     static_cast<unsigned long long>(computation.Totals()[1]),
                     static_cast<unsigned long long>(computation.Totals()[2]));
}

/// Returns the number of rows.
std::uint64_t ReplayRows(Setup& setup, Recording& recording, Result& result, Picture* picture) {
    Progress progress(recording.Size());
    std::uint64_t total = 0;
    std::future<void> writing; // of the finished block, while the next one is read and computed
    while (const std::size_t rows = result.IsClosed() ? 0 : recording.ReadBlock()) {
        for (Computation& computation : setup.computations)
            computation.Run(rows);
        if (picture != nullptr)
            picture->Take(rows);
        if (writing.valid())
            writing.get();
        setup.FinishBlock(rows);
        writing = std::async(std::launch::async, [&result, rows, isLive = recording.IsLive()] {
            result.WriteRows(rows);
            if (isLive)
                result.Flush();
        });
        total += rows;
        progress.Show(recording.Position());
    }
    if (writing.valid())
        writing.get();
    return total;
}

/// The rows of a live source do not come again: a failure leaves those before it, and says where.
std::uint64_t ReplayRowsOrLeavePart(Setup& setup, Recording& recording, Result& result, Picture* picture) {
    try {
        return ReplayRows(setup, recording, result, picture);
    } catch (const Failure& failure) {
        const std::string part = recording.IsLive() ? result.LeavePart() : "";
        if (part.empty())
            throw;
        throw std::runtime_error(std::string(failure.what()) + "\n  the rows before are in " + part);
    }
}

} // namespace

bool Replay(const Options& options) {
    const auto start = std::chrono::steady_clock::now();
    const Plan plan = ReadPlan(options.plan);
    RefuseSameFiles(options);
    const BlockSize block = BlockSizeFor(plan);
    Setup setup(plan, block.rows);
    const std::vector<const Channel*> chosen = setup.Chosen(plan);
    std::optional<Picture> picture;
    if (!options.picture.empty())
        picture.emplace(options.picture, plan.picture, setup.channels);
    Recording recording(options.recording, options.format, block.bytes);
    recording.ReadHeader(setup.inputs);

    Result result(options.result, options.format, chosen);
    if (options.withStatus)
        for (const Computation& computation : setup.computations)
            result.AddStatus(computation);
    result.WriteHeader();
    if (recording.IsLive())
        result.Flush();

    const std::uint64_t rows = ReplayRowsOrLeavePart(setup, recording, result, picture ? &*picture : nullptr);
    result.Keep();
    if (picture)
        picture->Draw();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    if (!options.isQuiet)
        Summarize(setup, rows, time.count());
    return !IsInterrupted();
}

} // namespace Velreplay
