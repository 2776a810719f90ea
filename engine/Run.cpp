#include "engine/Computation.h"
#include "engine/Engine.h"
#include "engine/Order.h"
#include "engine/Raster.h"
#include "engine/RowTime.h"
#include "engine/Selection.h"
#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

namespace Vel::Engine {

/// Everything that a run owns, at fixed addresses.
class Run::Parts {
public:
    Parts(const Plan& plan, std::size_t itsMostRows) : mostRows(itsMostRows), rowTime(plan) {
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
            AddResults(computation);
        std::vector<std::vector<std::size_t>> needs;
        for (const ComputationPlan& computation : plan.computations)
            needs.push_back(AddComputation(computation));
        FindGuarded(needs);
        const Order found = OrderOf(needs);
        if (!found.circle.empty())
            throw Error(plan.computations[found.circle.front()].place, "the channel is computed from itself",
                        "compute one of its operands from others");
        for (const std::size_t computation : found.sequence)
            order.push_back(&computations[computation]);
        if (!plan.rowsWhen.empty())
            selection.emplace(Truth(At(Find(plan.rowsWhen, plan.name + ": rows_when"))));
        if (!plan.rowsBeforeChange.empty())
            selection.emplace(Changes(At(Find(plan.rowsBeforeChange, plan.name + ": rows_before_change"))));
        before = last = {std::vector<SampleCell>(channels.size()), std::vector<Status>(computations.size()), 0};
        std::unordered_set<std::size_t> chosen;
        for (const std::string& name : plan.output) {
            output.push_back(Find(name, plan.name + ": output"));
            if (!chosen.insert(output.back()).second)
                throw Error(plan.name + ": output", Quoted(name) + " is there twice", "name each channel once");
        }
    }

    std::size_t Find(std::string_view name, const std::string& place) const {
        const auto found = indices.find(name);
        if (found != indices.end())
            return found->second;
        std::vector<std::string_view> names;
        for (const Channel& channel : channels)
            names.push_back(channel.name);
        const std::string_view similar = SimilarName(name, names);
        throw Error(place, "unknown channel " + Quoted(name),
                    similar.empty() ? "name an input, a constant or a computed channel"
                                    : "did you mean \"" + std::string(similar) + "\"?");
    }

    void PutInto(std::size_t channel, void* samples) {
        if (memory.at(channel).empty())
            throw std::invalid_argument("Vel::Engine::Run::PutInto: the samples are not the engine's");
        columns[channel].first = samples != nullptr ? samples : memory[channel].data();
    }

    /// Takes the input columns of a block, and holds samples where the plan says so.
    void TakeInputs(std::span<const Column> given) {
        if (holds.empty() && !raster) {
            std::copy(given.begin(), given.end(), columns.begin());
            return;
        }
        for (std::size_t input = 0; input < inputs; ++input)
            if (memory[input].empty())
                columns[input] = given[input];
        for (auto& [input, hold] : holds)
            std::visit([&, &input = input, &hold = hold]<class T>(
                           T noValue) { TakeHeld(given[input], Samples<T>(columns[input]), rows, hold, noValue); },
                       channels[input].noValue);
    }

    /// Computes the block from the inputs taken.
    void Compute(std::size_t itsRows) {
        rows = itsRows;
        const Computation::LoopKind kind = areStatusesWanted ? Computation::withStatuses
                                           : rows == 1       ? Computation::oneRow
                                                             : Computation::plain;
        for (Computation* const computation : order)
            computation->Run(kind, rows);
        if (selection)
            selection->Choose(rows, raster && raster->IsRestart());
        KeepRow();
    }

    /// Stores the last row of the block if it may later become a row of the result.
    void KeepRow() {
        if (!selection || !selection->IsWaiting() || rows == 0)
            return;
        isLastKept = true;
        last.source = SourceOf(rows - 1);
        for (std::size_t channel = 0; channel < channels.size(); ++channel)
            std::visit([&]<class T>(T) { last.samples[channel].Set(columns[channel].At<T>(rows - 1)); },
                       channels[channel].noValue);
        if (areStatusesWanted)
            for (std::size_t i = 0; i < computations.size(); ++i)
                last.statuses[i] = computations[i].Statuses(rows).back();
    }
    /// Ends the block: its last row becomes the row before the next block.
    void EndBlock() {
        if (std::exchange(isLastKept, false))
            std::swap(before, last);
    }

    /// The row of the recording that a row of the block comes from.
    std::uint64_t SourceOf(std::size_t row) const { return raster ? raster->Sources()[row] : rowsBefore + row; }

    /// Calls a function with each row of the result: its number in the result and its number in the block.
    template <class TFunction>
    void ForEachResultRow(TFunction function) const {
        for (std::size_t i = 0; i < (selection ? selection->Rows().size() : rows); ++i)
            function(i, selection ? selection->Rows()[i] : i);
    }

    /// At the end, chooses the last row if it belongs to the result.
    bool ChooseLast() {
        if (!selection)
            return false;
        EndBlock();
        rows = 0;
        selection->End();
        return !selection->Rows().empty();
    }

    void Restart() {
        for (Computation* const computation : order)
            computation->Restart();
        for (auto& [input, hold] : holds)
            hold.Forget();
    }

    /// Computes the next block of the raster. False if there is none.
    bool ComputeRaster() {
        EndBlock();
        rows = raster->Make();
        if (rows == 0) {
            if (selection)
                selection->Choose(0, false);
            return false;
        }
        if (raster->IsRestart())
            Restart();
        TakeInputs(columns);
        Compute(rows);
        return true;
    }

    std::size_t mostRows;
    RowTime rowTime;
    std::optional<Raster> raster;
    std::optional<Selection> selection;
    struct KeptRow {
        std::vector<SampleCell> samples; ///< for each channel
        std::vector<Status> statuses;    ///< for each computation
        std::uint64_t source = 0;
    };
    KeptRow before; ///< the last row of the previous block
    KeptRow last;   ///< the last row of this block
    bool isLastKept = false;
    std::uint64_t rowsBefore = 0; ///< rows of the recording before this block
    std::size_t inputs = 0;
    std::vector<Channel> channels;
    std::vector<Column> columns;
    std::vector<std::size_t> output;
    std::vector<bool> isInner; ///< for each channel
    std::vector<Computation> computations;
    std::vector<Computation*> order; ///< the computations in the order of computing
    std::vector<bool> isGuarded;     ///< for each computation: suppresses its warning
    std::vector<std::pair<std::size_t, std::size_t>> resultsOf;
    std::vector<std::vector<std::size_t>> operandsOf;
    std::vector<std::vector<std::byte>> memory; ///< for the samples that the engine writes
    std::size_t rows = 0;                       ///< in the last block
    bool areStatusesWanted = false;

private:
    template <Sample T>
    static void TakeHeld(const Column& given, T* samples, std::size_t rows, Hold& hold, T noValue) {
        for (std::size_t row = 0; row < rows; ++row) {
            samples[row] = given.At<T>(row);
            hold.Apply(samples[row], noValue);
        }
    }

    static constexpr std::size_t notComputed = std::numeric_limits<std::size_t>::max();

    std::size_t Add(const std::string& place, const Channel& channel, bool isStep, std::size_t computation) {
        const std::size_t index = channels.size();
        channels.push_back(channel);
        isInner.push_back(isStep);
        computedBy.push_back(computation);
        if (!indices.emplace(channels.back().name, index).second)
            throw Error(place, "the name " + Quoted(channel.name) + " is taken by a channel above",
                        "choose another one");
        return index;
    }

    void AddInputs(const Plan& plan) {
        for (const InputPlan& input : plan.inputs) {
            const std::size_t index = Add(input.place, input.channel, false, notComputed);
            if (input.holdRows != 0 || plan.raster)
                MakeMemory(index);
            if (input.holdRows != 0)
                holds.emplace_back(index, Hold(input.holdRows));
        }
        inputs = channels.size();
        if (plan.raster) {
            std::vector<ChannelAtWork> ofRaster;
            for (std::size_t input = 0; input < inputs; ++input)
                ofRaster.push_back(At(input));
            raster.emplace(plan, std::move(ofRaster), mostRows);
        }
    }

    void MakeMemory(std::size_t channel) {
        const std::size_t size = channels[channel].Type().size;
        memory[channel].resize(mostRows * size);
        columns[channel] = {memory[channel].data(), static_cast<std::ptrdiff_t>(size)};
    }

    void AddConstants(const Plan& plan) {
        for (const ConstantPlan& constant : plan.constants) {
            const std::size_t index = Add(constant.place, constant.channel, constant.isInner, notComputed);
            columns[index] = {constants.emplace_back(constant.value).Address(), 0};
        }
    }

    void AddResults(const ComputationPlan& plan) {
        const std::size_t computation = resultsOf.size();
        resultsOf.emplace_back(channels.size(), plan.results.size());
        for (const Channel& channel : plan.results) {
            MakeMemory(Add(plan.place, channel, plan.isInner, computation));
        }
    }

    /// All channels exist by now. Returns the computations that this one needs.
    std::vector<std::size_t> AddComputation(const ComputationPlan& plan) {
        std::vector<std::size_t> needs;
        std::vector<ChannelAtWork> operands;
        std::vector<std::size_t>& indicesOfOperands = operandsOf.emplace_back();
        for (const std::string& name : plan.operands) {
            const std::size_t operand = indicesOfOperands.emplace_back(Find(name, plan.place));
            operands.push_back(At(operand));
            if (computedBy[operand] != notComputed)
                needs.push_back(computedBy[operand]);
        }
        const auto [first, count] = resultsOf[computations.size()];
        std::vector<ChannelAtWork> results;
        for (std::size_t index = first; index < first + count; ++index)
            results.push_back(At(index));
        ResetChannels resets;
        const auto need = [&](const std::string& name, std::optional<ChannelAtWork>& reset) {
            if (name.empty())
                return;
            const std::size_t channel = Find(name, plan.place);
            reset = At(channel);
            if (computedBy[channel] != notComputed)
                needs.push_back(computedBy[channel]);
        };
        need(plan.resetWhen, resets.when);
        need(plan.resetOnChange, resets.onChange);
        computations.emplace_back(plan, std::move(results), std::move(operands), resets).ReserveStatuses(mostRows);
        return needs;
    }

    /// An unexpected sample in an inner channel does no harm if all its readers allow for it.
    void FindGuarded(const std::vector<std::vector<std::size_t>>& needs) {
        std::vector<bool> isRead(computations.size());
        isGuarded.assign(computations.size(), true);
        for (std::size_t reader = 0; reader < needs.size(); ++reader)
            for (const std::size_t needed : needs[reader]) {
                isRead[needed] = true;
                if (!computations[needed].IsGuardedBy(computations[reader]))
                    isGuarded[needed] = false;
            }
        for (std::size_t i = 0; i < computations.size(); ++i)
            if (!isInner[resultsOf[i].first] || !isRead[i])
                isGuarded[i] = false;
    }

    ChannelAtWork At(std::size_t index) { return {&channels[index], &columns[index]}; }

    std::vector<std::size_t> computedBy; ///< for each channel: its computation
    std::unordered_map<std::string_view, std::size_t> indices;
    std::deque<SampleCell> constants;
    std::vector<std::pair<std::size_t, Hold>> holds; ///< for inputs
};

Run::Run(const Plan& plan, std::size_t mostRows) : parts(std::make_unique<Parts>(plan, mostRows)) {}
Run::Run(Run&&) noexcept = default;
Run& Run::operator=(Run&&) noexcept = default;
Run::~Run() = default;

std::span<const Channel> Run::Channels() const { return parts->channels; }
std::size_t Run::Inputs() const { return parts->inputs; }
bool Run::IsInner(std::size_t channel) const { return parts->isInner.at(channel); }
std::size_t Run::Find(std::string_view name, const std::string& place) const { return parts->Find(name, place); }

std::vector<std::size_t> Run::Output() const {
    std::vector<std::size_t> chosen = parts->output;
    if (chosen.empty())
        for (std::size_t channel = 0; channel < parts->channels.size(); ++channel)
            if (!parts->isInner[channel])
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
    if (inputs.size() != parts->inputs || (rows > parts->mostRows && !parts->raster))
        throw std::invalid_argument("Vel::Engine::Run::Feed: other columns or more rows than agreed");
    if (parts->raster) {
        parts->raster->Take(inputs, rows);
        parts->ComputeRaster();
        return;
    }
    parts->EndBlock();
    parts->rowsBefore += std::exchange(parts->rows, rows);
    parts->TakeInputs(inputs);
    if (parts->areStatusesWanted)
        parts->rowTime.Look(inputs, rows);
    parts->Compute(rows);
}

void Run::Restart() {
    if (parts->raster)
        throw std::invalid_argument("Vel::Engine::Run::Restart: the raster says when the plan begins anew");
    parts->Restart();
}

bool Run::Continue() {
    if (!parts->raster)
        return false;
    return parts->ComputeRaster() || (parts->raster->HasEnded() && parts->ChooseLast());
}

bool Run::End() {
    if (parts->raster) {
        parts->raster->End();
        if (parts->ComputeRaster())
            return true;
    }
    return parts->ChooseLast();
}

bool Run::ChoosesRows() const { return parts->selection.has_value(); }

std::size_t Run::ResultRows() const { return parts->selection ? parts->selection->Rows().size() : parts->rows; }

void Run::CopyResult(std::size_t channel, void* samples) const {
    std::visit(
        [&]<class T>(T) {
            parts->ForEachResultRow([&](std::size_t i, std::size_t row) {
                static_cast<T*>(samples)[i] =
                    row == rowBefore ? parts->before.samples[channel].Get<T>() : parts->columns[channel].At<T>(row);
            });
        },
        parts->channels.at(channel).noValue);
}

void Run::CopyStatuses(std::size_t computation, Status* statuses) const {
    const std::span<const Status> ofBlock = StatusesOf(computation);
    if (parts->areStatusesWanted)
        parts->ForEachResultRow([&](std::size_t i, std::size_t row) {
            statuses[i] = row == rowBefore ? parts->before.statuses[computation] : ofBlock[row];
        });
}

std::uint64_t Run::SourceOf(std::size_t resultRow) const {
    const std::size_t row = parts->selection ? parts->selection->Rows()[resultRow] : resultRow;
    return row == rowBefore ? parts->before.source : parts->SourceOf(row);
}

std::vector<std::uint64_t> Run::SourcesInUse() const {
    std::vector<std::uint64_t> sources;
    if (parts->raster)
        sources.push_back(parts->raster->LastSource());
    if (parts->selection && parts->selection->IsWaiting())
        sources.push_back(parts->isLastKept ? parts->last.source : parts->before.source);
    return sources;
}

std::size_t Run::Rows() const { return parts->rows; }
bool Run::Makes(std::size_t channel) const { return !parts->memory.at(channel).empty(); }

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
    if (parts->raster)
        warnings = parts->raster->FindWarnings();
    else if (auto warning = parts->rowTime.FindWarning())
        warnings.push_back(std::move(*warning));
    for (std::size_t i = 0; i < parts->computations.size(); ++i)
        if (auto warning = parts->isGuarded[i] ? std::nullopt : parts->computations[i].FindWarning()) {
            if (IsInner(parts->resultsOf[i].first)) // "x#2" means little to the author of the formula for x
                warning->channel.resize(std::min(warning->channel.rfind('#'), warning->channel.size()));
            warnings.push_back(std::move(*warning));
        }
    return warnings;
}

} // namespace Vel::Engine
