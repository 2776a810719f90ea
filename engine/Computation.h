/// One operation of the library over the columns of a block.
#pragma once

#include "engine/Calls.h"
#include "engine/Engine.h"
#include "engine/Rules.h"
#include "engine/Samples.h"
#include "vocabulary/Vocabulary.h"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace Vel::Engine {

/// Which samples a window counts, and whether its last result stems from a missing one. Makes results of that kind
/// NoValue. A sample outside the bounds writes nothing, so that the row shows what the row before it shows.
struct GapRule {
    Argument lowerBound;
    Argument upperBound;
    bool isOverGap = false;
};

/// The channels that say when a computation begins anew; either may be missing.
struct ResetChannels {
    std::optional<ChannelAtWork> when;
    std::optional<ChannelAtWork> onChange;
};

class Computation {
public:
    /// Creates and initializes the operation. Columns and channels must stay where they are.
    Computation(const ComputationPlan& plan, std::vector<ChannelAtWork> itsResults,
                std::vector<ChannelAtWork> itsOperands, const ResetChannels& resets = {});

    /// How a block is computed; chosen once for each block.
    enum LoopKind : std::uint8_t { plain, oneRow, withStatuses };

    /// Computes the rows of a block: from the operands' columns into those of the results, which are contiguous.
    void Run(LoopKind kind, std::size_t rows) { (this->*loops[kind])(rows); }
    /// The next row is as the first one.
    void Restart();
    void MakeStatuses(bool areWanted) { areStatusesWanted = areWanted; }

    /// Makes room for the statuses of a block.
    void ReserveStatuses(std::size_t rows) { statuses.resize(rows); }
    std::span<const Status> Statuses(std::size_t rows) const { return std::span(statuses).first(rows); }
    const std::array<std::uint64_t, statusTexts.size()>& Totals() const { return totals; }
    const Step& LastStep() const { return step; }
    std::optional<Warning> FindWarning() const;
    /// Whether its warning is needless where this one alone reads the results: an "If" leaves out a value that is made
    /// of a missing sample, a "Valid" stands in for a state that is lost.
    bool IsGuardedBy(const Computation& reader) const;

private:
    using Loop = void (Computation::*)(std::size_t rows);

    void CreateOperation(const ComputationPlan& plan);
    void InitializeOperation(const ComputationPlan& plan);
    void ChooseRules(const ComputationPlan& plan, const ArgumentList& parameters);
    template <Sample T>
    void ChooseLoops();
    template <Sample T, std::size_t operandCount>
    void RunPlain(std::size_t rows);
    template <Sample T, std::size_t operandCount>
    void RunOneRow(std::size_t rows);
    template <Sample T>
    void RunWithGapRule(std::size_t rows);
    template <Sample T>
    void RunWithStatuses(std::size_t rows);
    template <Sample T>
    void ExecuteWithStatus(std::size_t row);
    template <Sample T>
    bool WouldFault(std::size_t row) const;
    template <Sample T>
    void ApplyGapRule(std::size_t row, bool isMissing);
    template <Sample T>
    void ApplyRules(std::size_t row);
    void FindResets(std::size_t rows);
    void Reset();
    void LookOut(std::size_t row, bool isMissing);
    bool AnyOperandIsNoValue(std::size_t row) const;

    const Operation* description = nullptr;
    std::vector<ChannelAtWork> results;
    std::vector<ChannelAtWork> operands;
    /// What the operation follows: results, then operands.
    std::vector<SamplePointer> pointers;
    /// The operation's own last results, from which operations that write nothing go on.
    std::vector<SampleCell> last;
    OperationHandle operation;
    std::array<Loop, 3> loops{}; ///< by kind
    bool isNoValueAware = true;
    bool mayFault = false; ///< on the lowest integer by -1
    std::optional<GapRule> gapRule;
    /// For an operation that writes into its operand: a copy, since samples belong to whoever made them.
    std::optional<SampleCell> ownOperand;
    std::optional<Truth> resetWhen;
    std::optional<Changes> resetOnChange;
    std::vector<bool> isReset; ///< of the rows of the block; empty where there is no reset
    bool isFirstRow = true;
    bool isNoValueWhenRefused = false;
    std::vector<Hold> holds; ///< of the results; empty where there is none
    bool areStatusesWanted = false;
    std::vector<Status> statuses;
    std::array<std::uint64_t, statusTexts.size()> totals{};
    Step step;
    std::uint64_t rowsBefore = 0; ///< the block
    std::uint64_t firstSurprise = 0;
    std::uint64_t surprises = 0;
    std::uint64_t gapStart = 0; ///< the row; 0: there is no gap that a sample may end
};

} // namespace Vel::Engine
