#include "engine/Formula.h"

#include "engine/Duration.h"
#include "engine/Parameters.h"
#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Vel::Engine {

namespace {

/// The arguments that calls of all operations take besides their parameters.
constexpr std::array<std::string_view, 7> argumentsOfAll{
    "no_value_aware", "no_value", "own_result_over_gaps", "reset_when", "reset_on_change", "hold", "when_refused"};

std::string TypeName(char letter) { return std::string(TypeOf(letter).name); }

/// A number as a sample if the type can hold it: whole numbers exactly, others as the nearest one.
template <Sample T>
std::optional<AnySample> FitNumber(const Value& number) {
    const auto fitWhole = [](auto whole) -> std::optional<AnySample> {
        if constexpr (std::is_integral_v<T>) {
            if (!std::in_range<T>(whole))
                return std::nullopt;
        } else {
            const auto near = static_cast<T>(whole);
            constexpr T end = std::numeric_limits<decltype(whole)>::digits == 63 ? T{0x1p63} : T{0x1p64};
            if (near >= end || static_cast<decltype(whole)>(near) != whole)
                return std::nullopt;
        }
        return static_cast<T>(whole);
    };
    if (const auto* whole = std::get_if<std::int64_t>(&number))
        return fitWhole(*whole);
    if (const auto* whole = std::get_if<std::uint64_t>(&number))
        return fitWhole(*whole);
    const double value = std::get<double>(number);
    if constexpr (std::is_integral_v<T>) {
        if (value != std::nearbyint(value) || value < -0x1p63 || value >= 0x1p64)
            return std::nullopt;
        return value < 0x1p63 ? fitWhole(static_cast<std::int64_t>(value))
                              : fitWhole(static_cast<std::uint64_t>(value));
    } else {
        const auto near = static_cast<T>(value);
        if (std::isinf(near) != std::isinf(value) || (near == 0) != (value == 0))
            return std::nullopt;
        return near;
    }
}

std::optional<AnySample> FitNumber(const Value& number, char letter) {
    return WithType(letter, [&]<class T>(T) { return FitNumber<T>(number); });
}

/// A NoValue that differs from this sample.
AnySample OtherNoValue(const AnySample& sample) {
    return std::visit(
        []<class T>(T value) {
            const T usual = defaultNoValue<T>;
            return AnySample(!IsNoValue(value, usual) ? usual : T{0});
        },
        sample);
}

/// The channel or number that a node of the formula has become.
struct Operand {
    std::string channel; ///< empty for a number
    char type = openType;
};

/// Creates the computations of one formula, node by node.
class Expansion {
public:
    Expansion(const Formula& itsFormula, const FormulaText& itsText, const std::vector<FormulaNode>& itsNodes,
              const FormulaScope& itsScope, std::vector<ConstantPlan>& itsConstants,
              std::vector<ComputationPlan>& itsComputations)
        : formula(itsFormula),
          text(itsText),
          nodes(itsNodes),
          scope(itsScope),
          constants(itsConstants),
          computations(itsComputations) {}

    void Run() {
        operands.reserve(nodes.size());
        for (const FormulaNode& node : nodes)
            operands.push_back(node.kind == FormulaNode::Kind::Name   ? ChannelOf(node)
                               : node.kind == FormulaNode::Kind::Call ? Call(node)
                                                                      : Operand{});
        const FormulaNode& whole = nodes.back();
        if (whole.kind == FormulaNode::Kind::Number)
            text.Refuse(whole.begin, "there is only a number here, and no channel",
                        "a number alone is a constant: [[constants]], or a setting: [settings]");
        if (whole.kind == FormulaNode::Kind::Name) {
            FormulaNode copy = whole;
            copy.name = "Assignment";
            copy.operands = {nodes.size() - 1};
            Call(copy, true);
        }
        computations.back().formula = text.Text();
    }

private:
    Operand ChannelOf(const FormulaNode& node) const {
        return {std::string(node.name), TypeOfChannel(node.name, node.begin)};
    }

    char TypeOfChannel(std::string_view name, std::size_t position) const {
        const char type = scope.typeOf(name);
        if (type != openType)
            return type;
        const std::string similar = scope.similarTo(name);
        text.Refuse(position, "unknown channel " + Quoted(name),
                    similar.empty() ? "name an input, a constant, a computed channel or a setting"
                                    : "did you mean " + Quoted(similar) + "?");
    }

    Operand Call(const FormulaNode& node) { return Call(node, &node == &nodes.back()); }

    Operand Call(const FormulaNode& node, bool isWhole) {
        const Operation& operation = OperationFor(node);
        RefuseNumbersAlone(node);
        std::string types;
        for (const std::size_t operand : node.operands)
            types += operands[operand].type;
        const std::string row = FitRow(operation, node.type, types);
        if (row.empty())
            RefuseTypes(node, operation, types);
        if (node.sign == "/" && !TypeOf(row[1]).isFloating)
            RefuseDivision(node, row[1]);
        ComputationPlan plan;
        for (std::size_t i = 0; i < node.operands.size(); ++i) {
            const Operand& operand = operands[node.operands[i]];
            plan.operands.push_back(!operand.channel.empty() ? operand.channel
                                                             : AddConstant(node, node.operands[i], row[1 + i]));
        }
        const std::string result = isWhole ? formula.Name() : NextInnerName();
        plan.place = formula.PlaceOf(result);
        plan.operation = node.name;
        plan.results.push_back({result, DefaultNoValue(row[0])});
        plan.isInner = !isWhole;
        TakeArguments(node, operation, row, plan);
        computations.push_back(std::move(plan));
        return {result, row[0]};
    }

    std::string NextInnerName() {
        std::string inner;
        do
            inner = formula.Name() + "#" + std::to_string(++innerNames);
        while (scope.typeOf(inner) != openType);
        return inner;
    }

    /// Finds the operation with this name, this number of operands and one result.
    const Operation& OperationFor(const FormulaNode& node) const {
        const auto named = FindOperations(node.name);
        std::string counts;
        std::string parameters;
        for (const Operation* const operation : named) {
            if (operation->operands == node.operands.size() && operation->results == 1)
                return *operation;
            counts += (counts.empty() ? "" : " or ") + std::to_string(operation->operands);
            for (const Parameter& parameter : operation->parameters)
                parameters.append(parameters.empty() ? "" : ", ").append(parameter.name);
        }
        const std::string operationName(node.name);
        if (named.front()->results != 1)
            text.Refuse(node.caret, operationName + " has " + std::to_string(named.front()->results) + " results",
                        R"(write it as a block: [[channels]] with names = ["...", "..."])");
        text.Refuse(node.caret,
                    operationName + " takes " + counts + (counts == "1" ? " operand" : " operands") + ", here are " +
                        std::to_string(node.operands.size()),
                    (parameters.empty() ? "" : "parameters go by their names: " + parameters + "; ") +
                        std::string("velreplay --operations ") + operationName + " tells more");
    }

    void RefuseNumbersAlone(const FormulaNode& node) const {
        if (node.operands.empty() ||
            std::any_of(node.operands.begin(), node.operands.end(),
                        [this](std::size_t operand) { return !operands[operand].channel.empty(); }))
            return;
        text.Refuse(node.caret, "there are only numbers here, and no channel", "write the number that comes out");
    }

    /// The text of a node, without brackets around it.
    std::string Written(const FormulaNode& node) const {
        std::string_view piece = text.Text().substr(node.begin, node.end - node.begin);
        if (node.isBracketed)
            piece = piece.substr(1, piece.size() - 2);
        return Shortened(piece);
    }
    std::string Written(std::size_t operand) const { return Written(nodes[operand]); }

    static std::string CastTo(const std::string& written, char type) {
        return "Cast(" + written + ") as " + TypeName(type);
    }

    [[noreturn]] void RefuseDivision(const FormulaNode& node, char type) const {
        std::string casts;
        for (const std::size_t operand : node.operands)
            if (!operands[operand].channel.empty())
                casts += (casts.empty() ? "" : ", ") + CastTo(Written(operand), 'D');
        text.Refuse(node.caret, "/ between integers (" + TypeName(type) + ") would lose the fraction",
                    "write " + casts + " to keep it, or Divide(" + Written(node.operands[0]) + ", " +
                        Written(node.operands[1]) + ") to lose it");
    }

    /// Reports the types, the nearest rows of the operation and a remedy.
    [[noreturn]] void RefuseTypes(const FormulaNode& node, const Operation& operation, const std::string& types) const {
        std::string found;
        for (const std::size_t operand : node.operands)
            found += (found.empty() ? "" : ", ") + Written(operand) + " is " +
                     (operands[operand].channel.empty() ? "a number" : TypeName(operands[operand].type));
        const auto rows = NearestRows(node, operation, types);
        std::string near;
        for (const std::string& row : rows)
            near += (near.empty() ? "" : "; ") + DescribeRow(row);
        std::string fault = std::string(node.name) + " does not exist on these types";
        if (!node.sign.empty())
            fault = std::string(node.sign) + " (" + std::string(node.name) + ")" + " does not exist on these types";
        if (node.type != openType)
            found += (found.empty() ? "" : ", ") + std::string("the result shall be ") + TypeName(node.type);
        text.Refuse(node.caret, fault,
                    "found: " + found + "\n  nearest: " + near + "\n  " + Help(node, operation, types, rows));
    }

    std::vector<std::string> NearestRows(const FormulaNode& node, const Operation& operation,
                                         const std::string& types) const {
        constexpr int anotherResult = 6;
        constexpr std::size_t most = 3;
        std::vector<std::pair<int, std::string>> rows;
        for (const std::string& row : SignaturesOf(operation)) {
            int cost = node.type == openType || node.type == row[0] ? 0 : anotherResult;
            for (std::size_t i = 0; i < types.size(); ++i) {
                if (types[i] != openType)
                    cost += CostOfCast(types[i], row[1 + i]);
                else if (!FitNumber(nodes[node.operands[i]].number, row[1 + i]))
                    cost += anotherResult;
            }
            rows.emplace_back(cost, row);
        }
        return Cheapest(std::move(rows), most);
    }

    std::string Help(const FormulaNode& node, const Operation& operation, const std::string& types,
                     const std::vector<std::string>& rows) const {
        if (node.name == "Cast" && node.type != openType)
            return Written(node.operands[0]) + " is " + TypeName(types[0]) + " already: leave the cast out";
        if (node.name == "Cast")
            return "say the type: " + Written(node) + " as Float32";
        if (node.type != openType && !FitRow(operation, openType, types).empty()) {
            std::string call = Written(node);
            call = call.substr(0, call.rfind(" as "));
            return "write " + CastTo(call, node.type);
        }
        if (node.sign == "&&" || node.sign == "||" || node.sign == "!")
            return HelpForLogic(node, types);
        std::string casts;
        for (std::size_t i = 0; i < types.size(); ++i)
            if (types[i] != openType && types[i] != rows.front()[1 + i])
                casts += (casts.empty() ? "" : ", ") + CastTo(Written(node.operands[i]), rows.front()[1 + i]);
        std::string help = casts.empty() ? "say the type of the result behind the call, as in " +
                                               std::string(node.name) + "(...) as " + TypeName(rows.front()[0])
                                         : "write " + casts;
        if (node.sign == "-" && types.size() == 1 && TypeOf(types[0]).isSigned)
            help += ", or 0 - " + Written(node.operands[0]);
        return help;
    }

    std::string HelpForLogic(const FormulaNode& node, const std::string& types) const {
        std::string comparisons;
        for (std::size_t i = 0; i < types.size(); ++i) {
            const FormulaNode& operand = nodes[node.operands[i]];
            if (types[i] == openType || types[i] == 'W')
                continue;
            const std::string written = operand.sign.empty() ? Written(operand) : "(" + Written(operand) + ")";
            comparisons += (comparisons.empty() ? "" : ", ") + ("(" + written + " != 0)");
        }
        return "write " + comparisons;
    }

    std::string AddConstant(const FormulaNode& call, std::size_t operand, char type) {
        const FormulaNode& node = nodes[operand];
        const auto sample = FitNumber(node.number, type);
        if (!sample)
            RefuseNumber(call, node, type);
        std::string constant = NextInnerName();
        constants.push_back({formula.PlaceOf(constant), {constant, OtherNoValue(*sample)}, *sample, true});
        return constant;
    }

    [[noreturn]] void RefuseNumber(const FormulaNode& call, const FormulaNode& number, char type) const {
        std::string neighbour;
        for (const std::size_t operand : call.operands)
            if (operands[operand].type == type && neighbour.empty())
                neighbour = Written(operand);
        const std::string holder = neighbour.empty() ? std::string(call.name) : neighbour;
        const std::optional<char> wider = TypeFor(number.number, type);
        text.Refuse(number.begin,
                    Written(number) + " is no number of the type " + TypeName(type) + ", which " + holder +
                        (neighbour.empty() ? " takes here" : " has"),
                    "write one that this type holds exactly" +
                        (neighbour.empty() || !wider ? "" : ", or " + CastTo(neighbour, *wider)));
    }

    /// A type that holds the number and all samples of a type.
    static std::optional<char> TypeFor(const Value& number, char letter) {
        if (std::holds_alternative<double>(number))
            return letter != 'D' ? std::optional('D') : std::nullopt;
        for (const SampleType& type : sampleTypes)
            if (Holds(type, TypeOf(letter)) && FitNumber(number, type.letter))
                return type.letter;
        return std::nullopt;
    }

    /// Reads the parameters and the settings that blocks have, too.
    void TakeArguments(const FormulaNode& node, const Operation& operation, const std::string& row,
                       ComputationPlan& plan) const {
        for (const NamedArgument& argument : node.arguments) {
            if (argument.name == "no_value_aware")
                plan.noValueAware = Flag(argument);
            else if (argument.name == "own_result_over_gaps")
                plan.showsOwnResultOverGaps = Flag(argument);
            else if (argument.name == "no_value")
                plan.results.front().noValue = NoValueFrom(argument, row[0]);
            else if (argument.name == "reset_when")
                plan.resetWhen = ChannelNamed(argument);
            else if (argument.name == "reset_on_change")
                plan.resetOnChange = ChannelNamed(argument);
            else if (argument.name == "hold")
                plan.holdRows = HoldFrom(argument, plan.place);
            else if (argument.name == "when_refused")
                plan.isNoValueWhenRefused = IsNoValueWhenRefused(argument);
            else if (IsParameter(operation, argument.name))
                plan.parameters.emplace(argument.name, argument.value);
            else
                RefuseParameter(operation, argument);
        }
        try {
            Complete(plan.parameters, operation, scope.samplePeriod, plan.place);
            OrderParameters(operation, row.back(), plan.parameters, plan.place);
        } catch (const Error& wrong) {
            std::size_t position = node.caret;
            for (const NamedArgument& argument : node.arguments)
                if (wrong.Fault().starts_with("parameter " + Quoted(argument.name)))
                    position = argument.position;
            text.Refuse(position, wrong.Fault(), wrong.Remedy());
        }
    }

    static bool IsParameter(const Operation& operation, std::string_view parameter) {
        return std::any_of(operation.parameters.begin(), operation.parameters.end(),
                           [parameter](const Parameter& known) { return known.name == parameter; });
    }

    [[noreturn]] void RefuseParameter(const Operation& operation, const NamedArgument& argument) const {
        std::vector<std::string_view> known(argumentsOfAll.begin(), argumentsOfAll.end());
        for (const Parameter& parameter : operation.parameters)
            known.push_back(parameter.name);
        const std::string_view similar = SimilarName(argument.name, known);
        text.Refuse(argument.position, std::string(operation.name) + " has no parameter " + Quoted(argument.name),
                    similar.empty() ? "its parameters are\n" + DescribeParameters(operation) +
                                          "    no_value_aware, no_value, own_result_over_gaps, reset_when, "
                                          "reset_on_change, hold, when_refused: as in a block"
                                    : "did you mean \"" + std::string(similar) + "\"?");
    }

    bool Flag(const NamedArgument& argument) const {
        if (const bool* const flag = std::get_if<bool>(&argument.value))
            return *flag;
        text.Refuse(argument.position, Quoted(argument.name) + " is not true or false", "write one of them");
    }

    std::string ChannelNamed(const NamedArgument& argument) const {
        TypeOfChannel(argument.word, argument.position);
        return std::string(argument.word);
    }

    std::uint64_t HoldFrom(const NamedArgument& argument, const std::string& place) const {
        try {
            return HoldRows(argument.value, scope.samplePeriod, place);
        } catch (const Error& wrong) {
            text.Refuse(argument.position, wrong.Fault(), wrong.Remedy());
        }
    }

    bool IsNoValueWhenRefused(const NamedArgument& argument) const {
        if (std::find(whenRefused.begin(), whenRefused.end(), argument.word) == whenRefused.end())
            text.Refuse(argument.position, "\"when_refused\" cannot be " + Quoted(argument.word),
                        "write keep or no_value");
        return argument.word == whenRefused.back();
    }

    AnySample NoValueFrom(const NamedArgument& argument, char type) const {
        if (IsNumber(argument.value))
            if (const auto sample = FitNumber(argument.value, type))
                return *sample;
        text.Refuse(argument.position, "\"no_value\" is no number of the type " + TypeName(type),
                    "write one that this type holds exactly");
    }

    const Formula& formula;
    const FormulaText& text;
    const std::vector<FormulaNode>& nodes;
    const FormulaScope& scope;
    std::vector<ConstantPlan>& constants;
    std::vector<ComputationPlan>& computations;
    std::vector<Operand> operands; ///< for each node
    std::size_t innerNames = 0;
};

} // namespace

std::vector<std::string_view> Formula::Operands() const {
    std::vector<std::string_view> names;
    for (const FormulaNode& node : nodes)
        if (node.kind == FormulaNode::Kind::Name)
            names.push_back(node.name);
        else
            for (const NamedArgument& argument : node.arguments)
                names.push_back(argument.word);
    return names;
}

void Formula::Expand(const FormulaScope& scope, std::vector<ConstantPlan>& constants,
                     std::vector<ComputationPlan>& computations) const {
    Expansion(*this, text, nodes, scope, constants, computations).Run();
}

} // namespace Vel::Engine
