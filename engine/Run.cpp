#include "engine/Computation.h"
#include "engine/Engine.h"
#include "vocabulary/Help.h"

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <unordered_map>

namespace Vel::Engine {

/// All that a run owns, at addresses that stay.
class Run::Parts {
public:
    Parts(const Plan& plan, std::size_t itsMostRows) : mostRows(itsMostRows) {
        std::size_t count = plan.inputs.size() + plan.constants.size();
        for (const ComputationPlan& computation : plan.computations)
            count += computation.results.size();
        channels.reserve(count);
        columns.resize(count);
        memory.resize(count);
        indices.reserve(count);
        computations.reserve(plan.computations.size());
        AddInputs(plan);
        AddConstants(plan);
        for (const ComputationPlan& computation : plan.computations)
            AddComputation(computation);
        for (const std::string& name : plan.output)
            output.push_back(Find(name, plan.name + ": output"));
    }

    std::size_t Find(std::string_view name, const std::string& place) const {
        const auto found = indices.find(name);
        if (found != indices.end())
            return found->second;
        std::vector<std::string_view> names;
        for (const Channel& channel : channels)
            names.push_back(channel.name);
        const std::string_view similar = SimilarName(name, names);
        throw Error(place, "unknown channel \"" + std::string(name) + "\"",
                    similar.empty() ? "name an input or a computed channel above"
                                    : "did you mean \"" + std::string(similar) + "\"?");
    }

    void PutInto(std::size_t channel, void* samples) {
        if (memory.at(channel).empty())
            throw std::invalid_argument("Vel::Engine::Run::PutInto: not a result");
        columns[channel].first = samples != nullptr ? samples : memory[channel].data();
    }

    std::size_t mostRows;
    std::size_t inputs = 0;
    std::vector<Channel> channels;
    std::vector<Column> columns;
    std::vector<std::size_t> output;
    std::vector<Computation> computations;
    std::vector<std::pair<std::size_t, std::size_t>> resultsOf;
    std::vector<std::vector<std::size_t>> operandsOf;
    std::size_t rows = 0; ///< of the last block
    bool areStatusesWanted = false;

private:
    std::size_t Add(const std::string& place, const Channel& channel) {
        const std::size_t index = channels.size();
        channels.push_back(channel);
        if (!indices.emplace(channels.back().name, index).second)
            throw Error(place, "the name \"" + channel.name + "\" is taken by a channel above", "choose another one");
        return index;
    }

    void AddInputs(const Plan& plan) {
        for (const InputPlan& input : plan.inputs)
            Add(input.place, input.channel);
        inputs = channels.size();
    }

    void AddConstants(const Plan& plan) {
        for (const ConstantPlan& constant : plan.constants) {
            const std::size_t index = Add(constant.place, constant.channel);
            columns[index] = {constants.emplace_back(constant.value).Address(), 0};
        }
    }

    void AddComputation(const ComputationPlan& plan) {
        std::vector<ChannelAtWork> operands;
        std::vector<std::size_t>& indicesOfOperands = operandsOf.emplace_back();
        for (const std::string& name : plan.operands)
            operands.push_back(At(indicesOfOperands.emplace_back(Find(name, plan.place))));
        resultsOf.emplace_back(channels.size(), plan.results.size());
        std::vector<ChannelAtWork> results;
        for (const Channel& channel : plan.results) {
            const std::size_t index = Add(plan.place, channel);
            const std::size_t size = channel.Type().size;
            memory[index].resize(mostRows * size);
            columns[index] = {memory[index].data(), static_cast<std::ptrdiff_t>(size)};
            results.push_back(At(index));
        }
        computations.emplace_back(plan, std::move(results), std::move(operands)).ReserveStatuses(mostRows);
    }

    ChannelAtWork At(std::size_t index) { return {&channels[index], &columns[index]}; }

    std::unordered_map<std::string_view, std::size_t> indices;
    std::vector<std::vector<std::byte>> memory; ///< of results; the library makes its samples of these bytes
    std::deque<SampleCell> constants;
};

Run::Run(const Plan& plan, std::size_t mostRows) : parts(std::make_unique<Parts>(plan, mostRows)) {}
Run::Run(Run&&) noexcept = default;
Run& Run::operator=(Run&&) noexcept = default;
Run::~Run() = default;

std::span<const Channel> Run::Channels() const { return parts->channels; }
std::size_t Run::Inputs() const { return parts->inputs; }
std::size_t Run::Find(std::string_view name, const std::string& place) const { return parts->Find(name, place); }

std::vector<std::size_t> Run::Output() const {
    std::vector<std::size_t> chosen = parts->output;
    if (chosen.empty())
        for (std::size_t channel = 0; channel < parts->channels.size(); ++channel)
            chosen.push_back(channel);
    return chosen;
}

void Run::MakeStatuses(bool areWanted) {
    parts->areStatusesWanted = areWanted;
    for (Computation& computation : parts->computations)
        computation.MakeStatuses(areWanted);
}

void Run::PutInto(std::size_t channel, void* samples) { parts->PutInto(channel, samples); }

void Run::Feed(std::span<const Column> inputs, std::size_t rows) {
    if (inputs.size() != parts->inputs || rows > parts->mostRows)
        throw std::invalid_argument("Vel::Engine::Run::Feed: other columns or more rows than agreed");
    std::copy(inputs.begin(), inputs.end(), parts->columns.begin());
    parts->rows = rows;
    const Computation::LoopKind kind = parts->areStatusesWanted ? Computation::withStatuses
                                       : rows == 1              ? Computation::oneRow
                                                                : Computation::plain;
    for (Computation& computation : parts->computations)
        computation.Run(kind, rows);
}

Column Run::ColumnOf(std::size_t channel) const { return parts->columns.at(channel); }

std::size_t Run::Computations() const { return parts->computations.size(); }
std::pair<std::size_t, std::size_t> Run::ResultsOf(std::size_t computation) const {
    return parts->resultsOf.at(computation);
}
std::span<const Status> Run::StatusesOf(std::size_t computation) const {
    return parts->computations.at(computation).Statuses(parts->areStatusesWanted ? parts->rows : 0);
}
const std::array<std::uint64_t, statusTexts.size()>& Run::TotalsOf(std::size_t computation) const {
    return parts->computations.at(computation).Totals();
}

std::vector<std::size_t> Run::OperandsOf(std::size_t computation) const { return parts->operandsOf.at(computation); }
const Step& Run::LastStepOf(std::size_t computation) const { return parts->computations.at(computation).LastStep(); }

std::vector<Warning> Run::Warnings() const {
    std::vector<Warning> warnings;
    for (const Computation& computation : parts->computations)
        if (auto warning = computation.FindWarning())
            warnings.push_back(std::move(*warning));
    return warnings;
}

} // namespace Vel::Engine
