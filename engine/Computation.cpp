#include "engine/Computation.h"

#include "engine/FilterLimits.h"
#include "engine/Parameters.h"
#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <limits>

namespace Vel::Engine {

namespace {

/// Finds the operation by name and number of operands, or throws an Error that helps.
const Operation& FindOperation(const ComputationPlan& plan) {
    const auto named = FindOperations(plan.operation);
    if (named.empty()) {
        const std::string_view similar = SimilarOperation(plan.operation);
        throw Error(plan.place, "unknown operation " + Quoted(plan.operation),
                    (similar.empty() ? "" : "did you mean \"" + std::string(similar) + "\"? ") +
                        std::string("velreplay --operations lists all"));
    }
    std::string forms;
    for (const Operation* const operation : named) {
        if (operation->operands == plan.operands.size() && operation->results == plan.results.size())
            return *operation;
        forms += "\n" + Describe(*operation);
    }
    throw Error(plan.place,
                plan.operation + " does not exist with " + std::to_string(plan.results.size()) + " results and " +
                    std::to_string(plan.operands.size()) + " operands",
                "it exists as" + forms);
}

[[noreturn]] void RefuseTypes(const ComputationPlan& plan, const std::string& signature) {
    constexpr std::size_t mostRows = 3;
    const std::vector<std::string> rows = NearestRows(FindOperation(plan), signature, mostRows);
    std::string remedy = "nearest: ";
    for (const std::string& row : rows)
        remedy += (row == rows.front() ? "" : "; ") + DescribeRow(row);
    std::string changes;
    for (std::size_t i = 0; i < signature.size(); ++i) {
        const std::string type(TypeOf(rows.front()[i]).name);
        if (signature[i] == rows.front()[i])
            continue;
        changes += changes.empty() ? "\n  " : ", and ";
        changes += i < plan.results.size()
                       ? "give the result the type " + type
                       : "cast " + Quoted(plan.operands[i - plan.results.size()]) + " to " + type + " (\"Cast\")";
    }
    throw Error(plan.place, plan.operation + " does not exist on these types: " + DescribeRow(signature),
                remedy + changes + "\n  velreplay --operations " + plan.operation + " lists all");
}

template <Sample T>
T* Samples(const ChannelAtWork& result) {
    return Engine::Samples<T>(*result.column);
}

} // namespace

Computation::Computation(const ComputationPlan& plan, std::vector<ChannelAtWork> itsResults,
                         std::vector<ChannelAtWork> itsOperands, const ResetChannels& resets)
    : description(&FindOperation(plan)),
      results(std::move(itsResults)),
      operands(std::move(itsOperands)),
      isNoValueWhenRefused(plan.isNoValueWhenRefused) {
    CreateOperation(plan);
    InitializeOperation(plan);
    if (resets.when)
        resetWhen.emplace(*resets.when);
    if (resets.onChange)
        resetOnChange.emplace(*resets.onChange);
    if (plan.holdRows != 0)
        holds.assign(results.size(), Hold(plan.holdRows));
    WithType(results.front().channel->Type().letter, [this]<class T>(T) { ChooseLoops<T>(); });
}

/// Create reads each channel's NoValue, so the channels hold it meanwhile.
void Computation::CreateOperation(const ComputationPlan& plan) {
    std::vector<ChannelAtWork> all = results;
    all.insert(all.end(), operands.begin(), operands.end());
    pointers.reserve(all.size());
    std::vector<SampleCell> noValues;
    noValues.reserve(all.size());
    ArgumentList references;
    for (const auto& [channel, column] : all) {
        const char letter = channel->Type().letter;
        noValues.emplace_back(channel->noValue);
        pointers.emplace_back(letter).Aim(noValues.back().Address());
        references.Add(letter, pointers.back().Reference());
    }
    if (!Accepts(*description, references.signature))
        RefuseTypes(plan, references.signature);
    operation = OperationHandle(CallCreate(plan.noValueAware, plan.operation, references));
    if (!operation)
        throw Error(plan.place, "the library does not know " + plan.operation + " on " + references.signature,
                    "use the library of the version that this program was built with");
    last.assign(noValues.begin(), noValues.begin() + static_cast<std::ptrdiff_t>(results.size()));
    isNoValueAware = plan.noValueAware;
}

void Computation::InitializeOperation(const ComputationPlan& plan) {
    const char type = (operands.empty() ? results.front() : operands.back()).channel->Type().letter;
    const OrderedParameters parameters = OrderParameters(*description, type, plan.parameters, plan.place);
    for (const Parameter& parameter : description->parameters)
        if (plan.noValueAware && parameter.range.isForPlainOnly && plan.parameters.contains(parameter.name))
            throw Error(plan.place, "parameter \"" + std::string(parameter.name) + "\" has no effect here",
                        "add: no_value_aware = false, or leave it out");
    if (!IsComputable(*description, plan.parameters))
        throw Error(
            plan.place, "the corners are too near to 0, to half the rate or to each other for a filter of this order",
            "its rounded coefficients would make wrong results: choose a lower order, or compute fewer rows a second");
    if (!CallInitialize(operation.Get(), parameters.list))
        throw Error(plan.place, plan.operation + " refuses these parameters",
                    "its parameters are\n" + DescribeParameters(*description));
    ChooseRules(plan, parameters.list);
}

/// Sets up the rules that the engine adds to the operation.
void Computation::ChooseRules(const ComputationPlan& plan, const ArgumentList& parameters) {
    const Twin twin = description->traits.twin;
    if (twin == (plan.noValueAware ? Twin::OnlyPlain : Twin::OnlyAware))
        throw Error(plan.place, plan.operation + " never computes in this form",
                    plan.noValueAware ? "add: no_value_aware = false" : "leave out: no_value_aware = false");
    const SampleType& type = results.front().channel->Type();
    if (description->traits.writesOperand)
        ownOperand.emplace(operands.front().channel->noValue);
    mayFault = description->traits.divides && type.isSigned && !type.isFloating && type.size >= sizeof(int);
    constexpr std::size_t windowPlace = 2; // after the bounds
    if (twin == Twin::ShowsAnother && plan.noValueAware && !plan.showsOwnResultOverGaps &&
        std::get<std::uint32_t>(parameters.arguments.at(windowPlace)) != 0)
        gapRule = GapRule{parameters.arguments[0], parameters.arguments[1]};
}

template <Sample T>
void Computation::ChooseLoops() {
    constexpr std::array<Loop, 4> plainLoops{&Computation::RunPlain<T, 0>, &Computation::RunPlain<T, 1>,
                                             &Computation::RunPlain<T, 2>, &Computation::RunPlain<T, 3>};
    constexpr std::array<Loop, 4> oneRowLoops{&Computation::RunOneRow<T, 0>, &Computation::RunOneRow<T, 1>,
                                              &Computation::RunOneRow<T, 2>, &Computation::RunOneRow<T, 3>};
    loops.fill(&Computation::RunWithStatuses<T>);
    const bool hasRules = resetWhen || resetOnChange || isNoValueWhenRefused || !holds.empty();
    if (gapRule && !hasRules) {
        loops[plain] = loops[oneRow] = &Computation::RunWithGapRule<T>;
    } else if (results.size() == 1 && !mayFault && !ownOperand && !hasRules) {
        loops[plain] = plainLoops.at(operands.size());
        loops[oneRow] = oneRowLoops.at(operands.size());
    }
}

/// The fastest loop: one result and no rules, only the operation.
template <Sample T, std::size_t operandCount>
void Computation::RunPlain(std::size_t rows) {
    T* result = Samples<T>(results.front());
    std::array<Column, operandCount> columns;
    for (std::size_t i = 0; i < operandCount; ++i)
        columns[i] = *operands[i].column;
    SamplePointer* const pointer = pointers.data();
    auto* const handle = operation.Get();
    T before = last.front().Get<T>();
    for (std::size_t row = 0; row < rows; ++row, ++result) {
        *result = before;
        pointer[0].Aim(result);
        for (std::size_t i = 0; i < operandCount; ++i) {
            pointer[1 + i].Aim(columns[i].first);
            columns[i].first = columns[i].AddressAt(1);
        }
        Execute(handle);
        before = *result;
    }
    last.front().Set(before);
}

/// The same without a loop, for blocks of one row as live hosts feed them.
template <Sample T, std::size_t operandCount>
void Computation::RunOneRow(std::size_t /*rows*/) {
    T* const result = Samples<T>(results.front());
    *result = last.front().Get<T>();
    SamplePointer* const pointer = pointers.data();
    pointer[0].Aim(result);
    for (std::size_t i = 0; i < operandCount; ++i)
        pointer[1 + i].Aim(operands[i].column->first);
    Execute(operation.Get());
    last.front().Set(*result);
}

/// For one result and one operand of the same type.
template <Sample T>
void Computation::RunWithGapRule(std::size_t rows) {
    T* const result = Samples<T>(results.front());
    const Column operand = *operands.front().column;
    const T noValue = std::get<T>(operands.front().channel->noValue);
    T before = last.front().Get<T>();
    for (std::size_t row = 0; row < rows; ++row) {
        result[row] = before;
        pointers[0].Aim(&result[row]);
        pointers[1].Aim(operand.AddressAt(row));
        Execute(operation.Get());
        before = result[row];
        const bool isMissing = IsNoValue(operand.At<T>(row), noValue);
        if (isMissing || gapRule->isOverGap)
            ApplyGapRule<T>(row, isMissing);
    }
    last.front().Set(before);
}

template <Sample T>
void Computation::RunWithStatuses(std::size_t rows) {
    if (resetWhen || resetOnChange)
        FindResets(rows);
    for (std::size_t row = 0; row < rows; ++row) {
        ExecuteWithStatus<T>(row);
        statuses[row] = step.status;
        if (areStatusesWanted)
            ++totals[static_cast<std::size_t>(step.status)];
    }
    rowsBefore += rows;
}

/// One row: the results start as the operation's own last ones, the operation computes, and then the engine applies its
/// rules. The next row continues from the operation's own result.
template <Sample T>
void Computation::ExecuteWithStatus(std::size_t row) {
    step = {};
    step.wasReset = !isReset.empty() && isReset[row];
    if (step.wasReset)
        Reset();
    for (std::size_t i = 0; i < results.size(); ++i) {
        T* const result = Samples<T>(results[i]) + row;
        *result = last[i].Get<T>();
        pointers[i].Aim(result);
    }
    for (std::size_t i = 0; i < operands.size(); ++i)
        pointers[results.size() + i].Aim(operands[i].column->AddressAt(row));
    if (ownOperand) { // it has the type of the result
        ownOperand->Set(operands.front().column->At<T>(row));
        pointers[results.size()].Aim(ownOperand->Address());
    }
    const bool isMissing = AnyOperandIsNoValue(row);
    step.wasCalled = !mayFault || (isNoValueAware && isMissing) || !WouldFault<T>(row);
    step.answer = step.wasCalled && Execute(operation.Get());
    for (std::size_t i = 0; i < results.size(); ++i)
        last[i].Set(Samples<T>(results[i])[row]);
    if (gapRule)
        ApplyGapRule<T>(row, isMissing);
    const T first = Samples<T>(results.front())[row];
    const bool isNoValue = IsNoValue(first, std::get<T>(results.front().channel->noValue));
    if (step.answer || (isNoValue && isMissing))
        step.status = isNoValue ? Status::NoValue : Status::Computed;
    else
        step.status = Status::Refused;
    if (isNoValueWhenRefused || !holds.empty())
        ApplyRules<T>(row);
    if (description->traits.surprise != Surprise::None)
        LookOut(row, isMissing);
}

/// Replaces the operation's own results with those that others see.
template <Sample T>
void Computation::ApplyRules(std::size_t row) {
    for (std::size_t i = 0; i < results.size(); ++i) {
        T& result = Samples<T>(results[i])[row];
        const T noValue = std::get<T>(results[i].channel->noValue);
        if (isNoValueWhenRefused && step.status == Status::Refused)
            result = noValue;
        if (!holds.empty() && holds[i].Apply(result, noValue) && i == 0)
            step.status = Status::Held;
    }
}

void Computation::FindResets(std::size_t rows) {
    isReset.assign(rows, false);
    const auto mark = [this](std::size_t row) { isReset[row] = true; };
    if (resetWhen)
        resetWhen->ForEachRow(rows, mark);
    if (resetOnChange)
        resetOnChange->ForEachRow(rows, mark);
    if (std::exchange(isFirstRow, isFirstRow && rows == 0))
        isReset[0] = false;
}

void Computation::Reset() {
    ::Reset(operation.Get());
    for (std::size_t i = 0; i < results.size(); ++i)
        last[i] = SampleCell(results[i].channel->noValue);
    if (gapRule)
        gapRule->isOverGap = false;
    for (Hold& hold : holds)
        hold.Forget();
    gapStart = 0;
}

void Computation::Restart() {
    Reset();
    isFirstRow = true;
    if (resetOnChange)
        resetOnChange->Forget();
}

/// Whether the processor would fault: the lowest integer divided by -1.
template <Sample T>
bool Computation::WouldFault(std::size_t row) const {
    if constexpr (std::is_signed_v<T> && std::is_integral_v<T>)
        return operands[0].column->At<T>(row) == std::numeric_limits<T>::lowest() &&
               operands[1].column->At<T>(row) == static_cast<T>(-1);
    return false;
}

template <Sample T>
void Computation::ApplyGapRule(std::size_t row, bool isMissing) {
    const T sample = operands.front().column->At<T>(row);
    const auto bound = [](const Argument& argument) {
        return std::visit(
            [](auto value) {
                if constexpr (std::is_pointer_v<decltype(value)>)
                    return T{};
                else
                    return static_cast<T>(value);
            },
            argument);
    };
    const bool counts = !(sample < bound(gapRule->lowerBound)) && !(sample > bound(gapRule->upperBound));
    if (isMissing || counts)
        gapRule->isOverGap = isMissing;
    step.wasRewritten = gapRule->isOverGap;
    if (step.wasRewritten)
        Samples<T>(results.front())[row] = std::get<T>(results.front().channel->noValue);
}

/// Counts rows with unexpected results: for totals only gaps that end in a sample, otherwise each row.
void Computation::LookOut(std::size_t row, bool isMissing) {
    const std::uint64_t number = rowsBefore + row + 1;
    const bool hasComputed = totals[static_cast<std::size_t>(Status::Computed)] != 0;
    const auto count = [this](std::uint64_t first) {
        if (surprises++ == 0)
            firstSurprise = first;
    };
    switch (description->traits.surprise) {
    case Surprise::None:
        break;
    case Surprise::LosesTotal:
        if (!isMissing && gapStart != 0)
            count(std::exchange(gapStart, 0));
        else if (isMissing && hasComputed && isNoValueAware && gapStart == 0)
            gapStart = number;
        break;
    case Surprise::LosesState:
        if (!isMissing && hasComputed && step.status == Status::NoValue)
            count(number);
        break;
    case Surprise::MakesValue:
        if (isMissing && step.status == Status::Computed)
            count(number);
        break;
    }
}

std::optional<Warning> Computation::FindWarning() const {
    const std::string& name = results.front().channel->name;
    const std::string operationName(description->name);
    if (description->traits.readsClock)
        return Warning{name, operationName + " reads the clock of this machine, not the time of the recording", 0, 0};
    if (surprises == 0)
        return std::nullopt;
    switch (description->traits.surprise) {
    case Surprise::None:
        break;
    case Surprise::LosesTotal:
        return Warning{name, "the total of " + operationName + " starts again from 0 behind a missing sample",
                       firstSurprise, surprises};
    case Surprise::LosesState:
        return Warning{name, operationName + " has no value behind a missing sample, until its state next changes",
                       firstSurprise, surprises};
    case Surprise::MakesValue:
        return Warning{name, operationName + " makes a value of a missing sample", firstSurprise, surprises};
    }
    return std::nullopt;
}

bool Computation::IsGuardedBy(const Computation& reader) const {
    switch (description->traits.surprise) {
    case Surprise::MakesValue:
        return reader.description->traits.twin == Twin::Decides;
    case Surprise::LosesState:
        return reader.description->name == "Valid";
    default:
        return false;
    }
}

bool Computation::AnyOperandIsNoValue(std::size_t row) const {
    return std::any_of(operands.begin(), operands.end(), [row](const ChannelAtWork& operand) {
        return std::visit([&]<class T>(T noValue) { return IsNoValue(operand.column->At<T>(row), noValue); },
                          operand.channel->noValue);
    });
}

} // namespace Vel::Engine
