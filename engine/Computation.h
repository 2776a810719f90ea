/// Runs one operation of the library over the columns of a block.
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

/// The samples that a window counts, and whether its last result comes from a missing sample. Such a result becomes
/// NoValue. A sample outside the bounds writes nothing, so its row repeats the row before.
struct GapRule {
    Argument lowerBound;
    Argument upperBound;
    bool isOverGap = false;
};

/// The channels that reset a computation; either may be missing.
struct ResetChannels {
    std::optional<ChannelAtWork> when;
    std::optional<ChannelAtWork> onChange;
};

class Computation {
public:
    /// Creates and initializes the operation. Columns and channels must outlive it and must not move.
    Computation(const ComputationPlan& plan, std::vector<ChannelAtWork> itsResults,
                std::vector<ChannelAtWork> itsOperands, const ResetChannels& resets = {});

    /// The loop that computes a block; chosen once per block.
    enum LoopKind : std::uint8_t { plain, oneRow, withStatuses };

    /// Computes the rows of a block from the operands' columns into the results' columns, which are contiguous.
    void Run(LoopKind kind, std::size_t rows) { (this->*loops[kind])(rows); }
    /// Treats the next row as the first one.
    void Restart();
    void MakeStatuses(bool areWanted) { areStatusesWanted = areWanted; }

    /// Makes room for the statuses of a block.
    void ReserveStatuses(std::size_t rows) { statuses.resize(rows); }
    std::span<const Status> Statuses(std::size_t rows) const { return std::span(statuses).first(rows); }
    const std::array<std::uint64_t, statusTexts.size()>& Totals() const { return totals; }
    const Step& LastStep() const { return step; }
    std::optional<Warning> FindWarning() const;
    /// Whether the warning is needless if only `reader` reads the results: "If" leaves out a value computed from a
    /// missing sample, and "Valid" replaces a lost state.
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
    /// The pointers that the operation reads through: results, then operands.
    std::vector<SamplePointer> pointers;
    /// The operation's own last results. An operation that writes nothing continues from them.
    std::vector<SampleCell> last;
    OperationHandle operation;
    std::array<Loop, 3> loops{}; ///< by kind
    bool isNoValueAware = true;
    bool mayFault = false; ///< when it divides the lowest integer by -1
    std::optional<GapRule> gapRule;
    /// For an operation that writes to its operand: a copy, since the samples belong to their producer.
    std::optional<SampleCell> ownOperand;
    std::optional<Truth> resetWhen;
    std::optional<Changes> resetOnChange;
    std::vector<bool> isReset; ///< for each row of the block; empty if there is no reset channel
    bool isFirstRow = true;
    bool isNoValueWhenRefused = false;
    std::vector<Hold> holds; ///< for each result; empty if nothing is held
    bool areStatusesWanted = false;
    std::vector<Status> statuses;
    std::array<std::uint64_t, statusTexts.size()> totals{};
    Step step;
    std::uint64_t rowsBefore = 0; ///< rows before this block
    std::uint64_t firstSurprise = 0;
    std::uint64_t surprises = 0;
    std::uint64_t gapStart = 0; ///< row number; 0 if no gap is open
};

} // namespace Vel::Engine
