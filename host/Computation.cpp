#include "host/Computation.h"

#include "host/Arguments.h"
#include "host/Failure.h"
#include "host/Parameters.h"

#include <algorithm>

namespace Velreplay {

namespace {

std::string lastMessage; // of the library, for the refusal of the call that has just been made

void KeepMessage(int, const char* text) {
    lastMessage = text;
    while (!lastMessage.empty() && (lastMessage.back() == '\n' || lastMessage.back() == ' '))
        lastMessage.pop_back();
}

/// The operation of a name with this number of operands, or a refusal that helps.
const Operation& FindOperation(const ComputationPlan& plan) {
    const auto named = FindOperations(plan.operation);
    if (named.empty()) {
        std::vector<std::string_view> names;
        for (const Operation& known : AllOperations())
            names.push_back(known.name);
        const std::string_view similar = SimilarName(plan.operation, names);
        throw Failure(plan.place, "unknown operation \"" + plan.operation + "\"",
                      (similar.empty() ? "" : "did you mean \"" + std::string(similar) + "\"? ") +
                          std::string("velreplay --operations lists all"));
    }
    std::string forms;
    for (const Operation* const operation : named) {
        if (operation->operands == plan.operands.size() && operation->results == plan.results.size())
            return *operation;
        forms += "\n" + Describe(*operation);
    }
    throw Failure(plan.place,
                  plan.operation + " does not exist with " + std::to_string(plan.results.size()) + " results and " +
                      std::to_string(plan.operands.size()) + " operands",
                  "it exists as" + forms);
}

const void* FirstOf(const Channel& channel) {
    return std::visit([](const auto& samples) -> const void* { return samples.values.data(); }, channel.samples);
}

std::size_t SizeOf(const Channel& channel) {
    return std::visit([](const auto& samples) { return sizeof(samples.noValue); }, channel.samples);
}

bool IsNoValue(const Channel& channel, std::size_t row) {
    return std::visit([row](const auto& samples) { return samples.IsNoValue(samples.values[row]); }, channel.samples);
}

} // namespace

Computation::Computation(const ComputationPlan& plan, std::vector<Channel*> itsResults,
                         std::vector<Channel*> itsOperands)
    : results(std::move(itsResults)), operands(std::move(itsOperands)) {
    description = &FindOperation(plan);
    SetMessageCallback(&KeepMessage);
    CreateOperation(plan);
    InitializeOperation(plan);
    SetMessageCallback(nullptr);
}

void Computation::CreateOperation(const ComputationPlan& plan) {
    current.resize(results.size() + operands.size());
    ArgumentList references;
    for (std::size_t i = 0; i < current.size(); ++i) {
        const Channel& channel = i < results.size() ? *results[i] : *operands[i - results.size()];
        current[i] = const_cast<void*>(FirstOf(channel)); // the sample before the block: NoValue now
        references.Add(channel.Letter(), static_cast<const void*>(&current[i]));
        if (i >= results.size())
            operandSizes.push_back(SizeOf(channel));
    }
    lastMessage.clear();
    operation = Vel::OperationHandle(CallCreate(plan.noValueAware, plan.operation, references));
    const auto known = SignaturesOf(*description);
    if (!operation || std::find(known.begin(), known.end(), references.signature) == known.end())
        throw Failure(plan.place,
                      plan.operation + " does not exist on these types: " + references.signature +
                          (lastMessage.empty() ? "" : "\n  " + lastMessage),
                      "it exists on (results first)" + DescribeSignatures(*description));
}

void Computation::InitializeOperation(const ComputationPlan& plan) {
    const char type = operands.empty() ? results.front()->Letter() : operands.back()->Letter();
    const OrderedParameters parameters = OrderParameters(*description, type, plan);
    if (!CallInitialize(operation.Get(), parameters.list))
        throw Failure(plan.place, plan.operation + " refuses these parameters",
                      "its parameters are\n" + DescribeParameters(*description));
}

void Computation::Run(std::size_t rows) {
    statuses.resize(rows);
    AimOperands();
    std::visit([&](const auto& first) { RunTyped(rows, first); }, results.front()->samples);
    for (const Status status : statuses)
        ++totals[static_cast<std::size_t>(status)];
}

/// Points before the first row of the block.
void Computation::AimOperands() {
    for (std::size_t i = 0; i < operands.size(); ++i)
        current[results.size() + i] = const_cast<void*>(FirstOf(*operands[i]));
}

/// All results of an operation have the same type.
template <class T>
void Computation::RunTyped(std::size_t rows, const Samples<T>& first) {
    std::vector<T*> columns;
    for (Channel* const result : results)
        columns.push_back(std::get<Samples<T>>(result->samples).values.data());
    for (std::size_t row = 1; row <= rows; ++row) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            columns[i][row] = columns[i][row - 1]; // what an operation does not write stays as it was
            current[i] = &columns[i][row];
        }
        for (std::size_t i = 0; i < operands.size(); ++i)
            current[results.size() + i] = static_cast<char*>(current[results.size() + i]) + operandSizes[i];
        const bool hasRun = Execute(operation.Get());
        const bool isNoValue = first.IsNoValue(columns[0][row]);
        const Status failed = isNoValue && AnyOperandIsNoValue(row) ? Status::NoValue : Status::Refused;
        statuses[row - 1] = !hasRun ? failed : isNoValue ? Status::NoValue : Status::Computed;
    }
}

bool Computation::AnyOperandIsNoValue(std::size_t row) const {
    return std::any_of(operands.begin(), operands.end(),
                       [row](const Channel* operand) { return IsNoValue(*operand, row); });
}

} // namespace Velreplay
