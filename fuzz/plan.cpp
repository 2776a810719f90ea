/// Any text as a plan: is refused with a message, or computes a result that reads back.

#include "engine/Engine.h"
#include "fuzz/Finding.h"
#include "fuzz/Tables.h"
#include "recordings/CsvWriter.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <vector>

using namespace Vel::Engine;
using namespace VelFuzz;

namespace {

constexpr std::size_t rows = 3;

/// Windows and curves that need much memory or time are no findings.
bool IsSmall(const Plan& plan) {
    constexpr double most = 1000;
    const auto isSmall = [](const Value& value) {
        return std::visit(
            [](const auto& known) {
                if constexpr (requires { known.size(); })
                    return known.size() < static_cast<std::size_t>(most);
                else if constexpr (requires { known.seconds; })
                    return known.seconds < most;
                else
                    return std::abs(static_cast<double>(known)) < most;
            },
            value);
    };
    return plan.inputs.size() + plan.constants.size() + plan.computations.size() < 50 &&
           std::all_of(plan.computations.begin(), plan.computations.end(), [&](const ComputationPlan& computation) {
               return std::all_of(computation.parameters.begin(), computation.parameters.end(),
                                  [&](const auto& parameter) { return isSmall(parameter.second); });
           });
}

/// What a host reads of its own tables, whatever is in them.
void ReadSections(const Plan& plan) {
    for (const auto& [name, section] : plan.sections) {
        Require(!section.Place().empty(), "a place");
        for (const Section& panel : section.Tables("panels"))
            Require(panel.Texts("channels").size() < SIZE_MAX && !panel.Place().empty(), "a panel");
        section.Allow({"title", "x", "panels"});
    }
}

void Compute(const Plan& plan) {
    Run run(plan, rows);
    run.MakeStatuses(true);
    std::vector<std::vector<double>> samples; // room and alignment for any type, and all bits 0 are a sample of each
    std::vector<Vel::Column> inputs;
    for (std::size_t i = 0; i < run.Inputs(); ++i)
        inputs.push_back({samples.emplace_back(rows).data(), sizeof(double)});
    run.Feed(inputs, rows);
    if (run.Rows() == 0) // of a raster, whose last row waits for the end
        run.End();
    const std::size_t computed = run.Rows();
    std::vector<Channel> channels;
    std::vector<Vel::Column> columns;
    std::set<std::string> names;
    for (const std::size_t channel : run.Output()) {
        if (!names.insert(run.Channels()[channel].name).second ||
            run.Channels()[channel].name.find('\0') != std::string::npos)
            return; // what nobody can ask for
        channels.push_back(run.Channels()[channel]);
        columns.push_back(run.ColumnOf(channel));
    }
    const MemoryFile file;
    {
        Vel::Recordings::CsvWriter writer(file.Name(), {}, AsResult(channels));
        writer.WriteHeader({});
        writer.WriteRows({computed, columns});
        writer.Keep();
    }
    const Table table = ReadTable(file, {}, 4096, AsWanted(channels));
    Require(table.rows == computed && table.samples == AsReadBack(channels, columns, computed),
            "the samples of a result");
}

void Try(FuzzedDataProvider& bytes) {
    const std::string text = bytes.ConsumeRemainingBytesAsString();
    try {
        const Plan plan = ParsePlan(text, "plan");
        ReadSections(plan);
        if (IsSmall(plan))
            Compute(plan);
    } catch (const Vel::Error& refusal) {
        Require(!refusal.Place().empty() && !refusal.Fault().empty(), "a place and a fault");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    ForEachPart({input, size}, &Try);
    return 0;
}
