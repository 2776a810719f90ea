#include "host/Replay.h"

#include "host/Channels.h"
#include "host/Computation.h"
#include "host/Failure.h"
#include "host/Picture.h"
#include "host/Plan.h"
#include "host/Progress.h"
#include "host/Result.h"

#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <future>
#include <initializer_list>
#include <optional>
#include <system_error>

namespace Velreplay {

namespace {

/// The channels and computations of a plan.
struct Setup {
    Channels channels;
    std::vector<Channel*> inputs;
    std::deque<Computation> computations;

    explicit Setup(const Plan& plan) {
        for (const InputPlan& input : plan.inputs)
            inputs.push_back(&channels.Add(input.place, input.channel, Recording::mostRows));
        for (const ConstantPlan& constant : plan.constants)
            FillConstant(channels.Add(constant.place, constant.channel, Recording::mostRows), constant.value);
        for (const ComputationPlan& computation : plan.computations) {
            std::vector<Channel*> operands = channels.FindAll(computation.place, computation.operands);
            std::vector<Channel*> results;
            for (const Channel& result : computation.results)
                results.push_back(&channels.Add(computation.place, result, Recording::mostRows));
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

/// A result must not take the place of what it is made from.
void RefuseToReplace(std::initializer_list<std::string> sources, const std::string& result) {
    std::error_code none; // of files that do not exist: they differ
    for (const std::string& source : sources)
        if (std::filesystem::equivalent(source, result, none))
            throw Failure(result, "the result would replace what it is made from", "give it another name");
}

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

} // namespace

bool Replay(const Options& options) {
    const auto start = std::chrono::steady_clock::now();
    const Plan plan = ReadPlan(options.plan);
    Setup setup(plan);
    const std::vector<const Channel*> chosen = setup.Chosen(plan);
    std::optional<Picture> picture;
    if (!options.picture.empty())
        picture.emplace(options.picture, plan.picture, setup.channels);
    Recording recording(options.recording, options.format);
    recording.ReadHeader(setup.inputs);

    RefuseToReplace({options.plan, options.recording}, options.result);
    Result result(options.result, options.format, chosen);
    if (options.withStatus)
        for (const Computation& computation : setup.computations)
            result.AddStatus(computation);
    result.WriteHeader();

    Progress progress(recording.Size());
    std::uint64_t total = 0;
    std::future<void> writing; // of the finished block, while the next one is read and computed
    while (const std::size_t rows = result.IsClosed() ? 0 : recording.ReadBlock()) {
        for (Computation& computation : setup.computations)
            computation.Run(rows);
        if (picture)
            picture->Take(rows);
        if (writing.valid())
            writing.get();
        setup.FinishBlock(rows);
        writing = std::async(std::launch::async, [&, rows] {
            result.WriteRows(rows);
            if (recording.IsLive())
                result.Flush();
        });
        total += rows;
        progress.Show(recording.Position());
    }
    if (writing.valid())
        writing.get();
    result.Keep();
    if (picture)
        picture->Draw();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    progress.Hide();
    if (!options.isQuiet)
        Summarize(setup, total, time.count());
    return !IsInterrupted();
}

} // namespace Velreplay
