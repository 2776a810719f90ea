#include "velreplay/Trace.h"

#include "recordings/Numbers.h"
#include "recordings/Times.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>
#include <string>
#include <type_traits>

namespace Velreplay {

using namespace Vel::Engine;

namespace {

constexpr const char* noSample = "no sample";

std::string Listed(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts)
        list.append(list.empty() ? "" : ", ").append(text);
    return list;
}

std::string SampleOf(const Plan& plan, const Run& run, std::size_t channel) {
    return std::visit(
        [&]<class T>(T noValue) -> std::string {
            const T sample = run.ColumnOf(channel).At<T>(0);
            if (Vel::IsNoValue(sample, noValue))
                return noSample;
            if constexpr (std::is_same_v<T, double>)
                if (channel < run.Inputs() && plan.inputs[channel].time)
                    return std::string(Vel::Recordings::TimeWriter(*plan.inputs[channel].time).Write(sample));
            std::array<char, Vel::Recordings::longestNumber> text{};
            return {text.data(), Vel::Recordings::WriteNumber(text.data(), sample)};
        },
        run.Channels()[channel].noValue);
}

class Tracing {
public:
    Tracing(const Plan& itsPlan, const Run& itsRun) : plan(itsPlan), run(itsRun) {
        for (std::size_t i = 0; i < run.Computations(); ++i) {
            const auto [first, count] = run.ResultsOf(i);
            for (std::size_t result = first; result < first + count; ++result)
                computedBy.emplace(result, i);
        }
    }

    /// What it is computed from comes first; each channel once.
    void Show(std::size_t channel) {
        std::vector<std::pair<std::size_t, bool>> waiting{{channel, false}}; // true: its operands have been shown
        while (!waiting.empty()) {
            const auto [next, isReady] = waiting.back();
            waiting.pop_back();
            if (shown.contains(next))
                continue;
            const auto computation = computedBy.find(next);
            if (computation == computedBy.end() || isReady) {
                shown.insert(next);
                ShowOne(next);
                continue;
            }
            waiting.emplace_back(next, true);
            std::vector<std::size_t> operands = run.OperandsOf(computation->second);
            std::reverse(operands.begin(), operands.end());
            for (const std::size_t operand : operands)
                waiting.emplace_back(operand, false);
        }
    }

private:
    void ShowOne(std::size_t channel) const {
        const std::string& name = run.Channels()[channel].name;
        std::printf("%s = %s\n", name.c_str(), SampleOf(plan, run, channel).c_str());
        const auto computation = computedBy.find(channel);
        if (computation == computedBy.end())
            std::printf("    %s\n", channel >= run.Inputs() ? "the same in every row"
                                    : plan.raster           ? "brought onto the raster"
                                                            : "read from the recording");
        else
            ShowStep(computation->second);
    }

    void ShowStep(std::size_t computation) const {
        std::vector<std::string> operands;
        std::vector<std::string> missing;
        for (const std::size_t operand : run.OperandsOf(computation)) {
            const std::string sample = SampleOf(plan, run, operand);
            const std::string& name = run.Channels()[operand].name;
            operands.push_back(std::string(name).append(" = ").append(sample));
            if (sample == noSample && std::find(missing.begin(), missing.end(), name) == missing.end())
                missing.push_back(name);
        }
        const ComputationPlan& what = plan.computations[computation];
        const Step& step = run.LastStepOf(computation);
        std::printf("    %s%s on %s\n", what.operation.c_str(), what.noValueAware ? "" : " (not NoValue-aware)",
                    operands.empty() ? "no operand" : Listed(operands).c_str());
        if (step.wasReset)
            std::printf("    began anew before this row\n");
        if (!step.wasCalled)
            std::printf("    was not asked: the lowest number by -1 would crash it\n");
        else
            std::printf("    answered %s\n", step.answer ? "true" : "false");
        if (step.wasRewritten)
            std::printf("    its window has no sample to show, so the result has none\n");
        std::printf("    %s%s\n", std::string(Vel::statusTexts[static_cast<std::size_t>(step.status)]).c_str(),
                    Reason(what, step, Listed(missing)).c_str());
    }

    static std::string Reason(const ComputationPlan& what, const Step& step, const std::string& missing) {
        switch (step.status) {
        case Vel::Status::Computed:
            return step.answer || missing.empty() ? "" : " without " + missing;
        case Vel::Status::NoValue:
            return missing.empty() ? ": the operation has no value to show, or it is the NoValue of the channel"
                                   : std::string(": there is no sample of ").append(missing);
        case Vel::Status::Refused:
            return what.isNoValueWhenRefused ? ": the operation refuses these samples, and the result has none then"
                                             : ": the operation refuses these samples, and the result stays as it was";
        case Vel::Status::Held:
            return ": there is no sample, and the last one stands in for it";
        }
        return {};
    }

    const Plan& plan;
    const Run& run;
    std::map<std::size_t, std::size_t> computedBy;
    std::set<std::size_t> shown;
};

} // namespace

void ShowTrace(const Plan& plan, const Run& run, std::size_t channel, std::uint64_t row, std::uint64_t rowsSeen) {
    std::printf("row %llu", static_cast<unsigned long long>(row));
    if (plan.raster)
        std::printf(" of the raster, behind row %llu of the recording", static_cast<unsigned long long>(rowsSeen));
    std::printf("\n");
    Tracing(plan, run).Show(channel);
}

} // namespace Velreplay
