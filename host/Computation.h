// A computed channel: one operation of the library over the columns of a block.
#pragma once

#include "host/Channel.h"
#include "host/Plan.h"
#include "host/Vocabulary.h"

#include <array>
#include <span>
#include <string>
#include <vector>

namespace Velreplay {

/// What became of one sample.
enum class Status : std::uint8_t { Computed, NoValue, Refused };

class Computation {
public:
    /// Creates and initializes the operation. The channels must stay where they are.
    Computation(const ComputationPlan& plan, std::vector<Channel*> itsResults, std::vector<Channel*> itsOperands);

    /// Computes the rows of a block.
    void Run(std::size_t rows);

    const std::string& Name() const { return results.front()->name; }
    /// Ends a block.
    void Finish() { statuses.swap(finished); }
    /// Of the rows of the finished block.
    std::span<const Status> Statuses() const { return finished; }
    /// By status, since the beginning.
    const std::array<std::uint64_t, 3>& Totals() const { return totals; }

private:
    void CreateOperation(const ComputationPlan& plan);
    void InitializeOperation(const ComputationPlan& plan);
    template <class T>
    void RunTyped(std::size_t rows, const Samples<T>& first);
    void AimOperands();
    bool AnyOperandIsNoValue(std::size_t row) const;

    std::vector<Channel*> results;
    std::vector<Channel*> operands;
    /// The inner pointers that the operation follows: results, then operands.
    std::vector<void*> current;
    std::vector<std::size_t> operandSizes;
    Vel::OperationHandle operation;
    const Operation* description = nullptr;
    std::vector<Status> statuses;
    std::vector<Status> finished;
    std::array<std::uint64_t, 3> totals{};
};

} // namespace Velreplay
