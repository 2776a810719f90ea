#include "engine/Assembly.h"

#include "engine/Duration.h"
#include "engine/Order.h"
#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <limits>
#include <unordered_map>

namespace Vel::Engine {

namespace {

constexpr std::size_t noLine = std::numeric_limits<std::size_t>::max();

/// The channels that a computation needs.
std::vector<std::string> NeededBy(const ComputationPlan& plan) {
    std::vector<std::string> needed = plan.operands;
    for (const std::string& name : {plan.resetWhen, plan.resetOnChange})
        if (!name.empty())
            needed.push_back(name);
    return needed;
}

class Assembly {
public:
    Assembly(Plan& itsPlan, std::vector<PlanLine> itsLines, const std::vector<Setting>& settings)
        : plan(itsPlan), lines(std::move(itsLines)) {
        for (const Setting& setting : settings)
            Add(setting.name, {setting.place, noLine, openType, Kind::Setting});
        for (const InputPlan& input : plan.inputs)
            Add(input.channel.name, {input.place, noLine, input.channel.Type().letter, Kind::Input});
        for (const ConstantPlan& constant : plan.constants)
            Add(constant.channel.name, {constant.place, noLine, constant.channel.Type().letter, Kind::Other});
        for (std::size_t line = 0; line < lines.size(); ++line)
            AddResults(line);
    }

    void Run() {
        for (const std::string& name : plan.output)
            CheckOperand(name, plan.name + ": output");
        for (const std::string& name : {plan.rowsWhen, plan.rowsBeforeChange})
            if (!name.empty())
                CheckOperand(name, plan.name + ": [plan]");
        std::vector<std::vector<ComputationPlan>> computations(lines.size());
        for (const std::size_t line : Sequence())
            computations[line] = Expanded(line);
        for (std::vector<ComputationPlan>& ofLine : computations) {
            std::for_each(ofLine.begin(), ofLine.end(),
                          [this](const ComputationPlan& computation) { RefuseWallTime(computation); });
            std::move(ofLine.begin(), ofLine.end(), std::back_inserter(plan.computations));
        }
    }

private:
    enum class Kind { Input, Setting, Other };
    /// Something that has a name.
    struct Named {
        std::string place;
        std::size_t line; ///< the line that computes it, or noLine
        char type;
        Kind kind;
    };

    void Add(const std::string& name, const Named& named) {
        if (IsFormulaWord(name))
            throw Error(named.place, "the name " + Quoted(name) + " has a meaning in formulas",
                        named.kind == Kind::Input
                            ? "choose another one; column = \"" + name + "\" says what the recording calls it"
                            : "choose another one");
        const auto [there, isNew] = names.emplace(name, named);
        if (!isNew)
            throw Error(named.place, "the name " + Quoted(name) + " is taken", "by " + there->second.place);
    }

    void AddResults(std::size_t line) {
        if (const auto* const block = std::get_if<ComputationPlan>(&lines[line])) {
            for (const Channel& result : block->results)
                Add(result.name, {block->place, line, result.Type().letter, Kind::Other});
        } else {
            const Formula& formula = *std::get<std::unique_ptr<Formula>>(lines[line]);
            Add(formula.Name(), {formula.PlaceOf(formula.Name()), line, openType, Kind::Other});
        }
    }

    /// An order of the lines in which operands come first.
    std::vector<std::size_t> Sequence() const {
        std::vector<std::vector<std::size_t>> needs(lines.size());
        for (std::size_t line = 0; line < lines.size(); ++line) {
            const auto need = [&](std::string_view name) {
                const auto found = names.find(std::string(name));
                if (found != names.end() && found->second.line != noLine)
                    needs[line].push_back(found->second.line);
            };
            if (const auto* const block = std::get_if<ComputationPlan>(&lines[line]))
                for (const std::string& name : NeededBy(*block))
                    need(name);
            else
                for (const std::string_view name : std::get<std::unique_ptr<Formula>>(lines[line])->Operands())
                    need(name);
        }
        Order order = OrderOf(needs);
        if (!order.circle.empty())
            RefuseCircle(order.circle);
        return std::move(order.sequence);
    }

    [[noreturn]] void RefuseCircle(const std::vector<std::size_t>& circle) const {
        constexpr std::size_t most = 10;
        std::string path;
        for (std::size_t i = 0; i < std::min(most, circle.size()); ++i)
            path += NameOf(circle[i]) + " <- ";
        if (circle.size() > most)
            path += "... <- ";
        throw Error(names.find(NameOf(circle.front()))->second.place,
                    "the channel is computed from itself: " + path + NameOf(circle.front()),
                    "a channel cannot use its own sample, not even the one of the row before; compute one of these "
                    "from others");
    }

    const std::string& NameOf(std::size_t line) const {
        if (const auto* const block = std::get_if<ComputationPlan>(&lines[line]))
            return block->results.front().name;
        return std::get<std::unique_ptr<Formula>>(lines[line])->Name();
    }

    std::vector<ComputationPlan> Expanded(std::size_t line) {
        std::vector<ComputationPlan> computations;
        if (auto* const block = std::get_if<ComputationPlan>(&lines[line])) {
            for (const std::string& name : NeededBy(*block))
                CheckOperand(name, block->place);
            for (const Operation* const operation : FindOperations(block->operation))
                if (operation->operands == block->operands.size() && operation->results == block->results.size())
                    Complete(block->parameters, *operation, Period(), block->place);
            computations.push_back(std::move(*block));
            return computations;
        }
        const Formula& formula = *std::get<std::unique_ptr<Formula>>(lines[line]);
        formula.Expand(scope, plan.constants, computations);
        names.find(formula.Name())->second.type = computations.back().results.front().Type().letter;
        return computations;
    }

    /// Local time jumps when clocks change, so it cannot measure durations.
    void RefuseWallTime(const ComputationPlan& computation) const {
        for (const Operation* const operation : FindOperations(computation.operation))
            if (operation->traits.endsWithTime && operation->operands == computation.operands.size())
                for (const InputPlan& input : plan.inputs)
                    if (input.channel.name == computation.operands.back() && input.time && input.time->isLocal)
                        throw Error(computation.place,
                                    "the time of " + computation.operation + ", " + Quoted(input.channel.name) +
                                        ", is wall time, which jumps when clocks change",
                                    "read the column by a second input without clock = \"local\", and take that");
    }

    void CheckOperand(const std::string& operand, const std::string& place) const {
        const auto found = names.find(operand);
        if (found != names.end() && found->second.kind != Kind::Setting)
            return;
        const std::string similar = SimilarTo(operand);
        throw Error(place, "unknown channel " + Quoted(operand),
                    found != names.end() ? "a setting is no channel: write a formula, or add [[constants]]"
                    : similar.empty()    ? "name an input, a constant or a computed channel"
                                         : "did you mean " + Quoted(similar) + "?");
    }

    /// Seconds from row to row, if the plan gives them.
    std::optional<double> Period() const {
        return plan.raster ? std::optional(plan.raster->period) : plan.samplePeriod;
    }

    char TypeOfChannel(std::string_view name) const {
        const auto found = names.find(std::string(name));
        return found == names.end() ? openType : found->second.type;
    }

    std::string SimilarTo(std::string_view name) const {
        std::vector<std::string_view> known;
        for (const auto& [other, named] : names)
            known.push_back(other);
        std::sort(known.begin(), known.end());
        return std::string(SimilarName(name, known));
    }

    Plan& plan;
    std::vector<PlanLine> lines;
    std::unordered_map<std::string, Named> names;
    const FormulaScope scope{[this](std::string_view name) { return TypeOfChannel(name); },
                             [this](std::string_view name) { return SimilarTo(name); }, Period()};
};

} // namespace

void Assemble(Plan& plan, std::vector<PlanLine> lines, const std::vector<Setting>& settings) {
    Assembly(plan, std::move(lines), settings).Run();
}

} // namespace Vel::Engine
