#include "engine/Computation.h"

#include "engine/Parameters.h"
#include "vocabulary/Help.h"

#include <algorithm>

namespace Vel::Engine {

namespace {

/// The operation of a name with this number of operands, or a refusal that helps.
const Operation& FindOperation(const ComputationPlan& plan) {
    const auto named = FindOperations(plan.operation);
    if (named.empty()) {
        const std::string_view similar = SimilarOperation(plan.operation);
        throw Error(plan.place, "unknown operation \"" + plan.operation + "\"",
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

template <Sample T>
T* Samples(const ChannelAtWork& result) {
    return static_cast<T*>(const_cast<void*>(result.column->first)); // a result's column is written, by us alone
}

} // namespace

Computation::Computation(const ComputationPlan& plan, std::vector<ChannelAtWork> itsResults,
                         std::vector<ChannelAtWork> itsOperands)
    : description(&FindOperation(plan)), results(std::move(itsResults)), operands(std::move(itsOperands)) {
    CreateOperation(plan);
    InitializeOperation(plan);
    WithType(results.front().channel->Type().letter, [this]<class T>(T) { ChooseLoops<T>(); });
}

/// Each channel shows its NoValue meanwhile.
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
        throw Error(plan.place, plan.operation + " does not exist on these types: " + references.signature,
                    "it exists on (results first)" + DescribeSignatures(*description));
    operation = OperationHandle(CallCreate(plan.noValueAware, plan.operation, references));
    if (!operation)
        throw Error(plan.place, "the library does not know " + plan.operation + " on " + references.signature,
                    "use the library of the version that this program was built with");
    last.assign(noValues.begin(), noValues.begin() + static_cast<std::ptrdiff_t>(results.size()));
}

void Computation::InitializeOperation(const ComputationPlan& plan) const {
    const char type = (operands.empty() ? results.front() : operands.back()).channel->Type().letter;
    const OrderedParameters parameters = OrderParameters(*description, type, plan.parameters, plan.place);
    if (!CallInitialize(operation.Get(), parameters.list))
        throw Error(plan.place, plan.operation + " refuses these parameters",
                    "its parameters are\n" + DescribeParameters(*description));
}

template <Sample T>
void Computation::ChooseLoops() {
    constexpr std::array<Loop, 4> plainLoops{&Computation::RunPlain<T, 0>, &Computation::RunPlain<T, 1>,
                                             &Computation::RunPlain<T, 2>, &Computation::RunPlain<T, 3>};
    constexpr std::array<Loop, 4> oneRowLoops{&Computation::RunOneRow<T, 0>, &Computation::RunOneRow<T, 1>,
                                              &Computation::RunOneRow<T, 2>, &Computation::RunOneRow<T, 3>};
    loops.fill(&Computation::RunWithStatuses<T>);
    if (results.size() == 1) {
        loops[plain] = plainLoops.at(operands.size());
        loops[oneRow] = oneRowLoops.at(operands.size());
    }
}

/// One result, and nothing but the operation: the loop that costs what the operation costs.
template <Sample T, std::size_t operandCount>
void Computation::RunPlain(std::size_t rows) {
    T* result = Samples<T>(results.front());
    std::array<Column, operandCount> columns;
    for (std::size_t i = 0; i < operandCount; ++i)
        columns[i] = *operands[i].column;
    SamplePointer* const pointer = pointers.data();
    VelHandle const handle = operation.Get();
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

/// The same for a block of one row, as live hosts feed it, without what a loop needs.
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

template <Sample T>
void Computation::RunWithStatuses(std::size_t rows) {
    for (std::size_t row = 0; row < rows; ++row) {
        statuses[row] = ExecuteWithStatus<T>(row);
        ++totals[static_cast<std::size_t>(statuses[row])];
    }
}

template <Sample T>
Status Computation::ExecuteWithStatus(std::size_t row) {
    for (std::size_t i = 0; i < results.size(); ++i) {
        T* const result = Samples<T>(results[i]) + row;
        *result = last[i].Get<T>();
        pointers[i].Aim(result);
    }
    for (std::size_t i = 0; i < operands.size(); ++i)
        pointers[results.size() + i].Aim(operands[i].column->AddressAt(row));
    const bool hasRun = Execute(operation.Get());
    for (std::size_t i = 0; i < results.size(); ++i)
        last[i].Set(Samples<T>(results[i])[row]);
    const Channel& first = *results.front().channel;
    const bool isNoValue = IsNoValue(Samples<T>(results.front())[row], std::get<T>(first.noValue));
    if (hasRun)
        return isNoValue ? Status::NoValue : Status::Computed;
    return isNoValue && AnyOperandIsNoValue(row) ? Status::NoValue : Status::Refused;
}

bool Computation::AnyOperandIsNoValue(std::size_t row) const {
    return std::any_of(operands.begin(), operands.end(), [row](const ChannelAtWork& operand) {
        return std::visit([&]<class T>(T noValue) { return IsNoValue(operand.column->At<T>(row), noValue); },
                          operand.channel->noValue);
    });
}

} // namespace Vel::Engine
