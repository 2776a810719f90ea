/// One operation of the library over the columns of a block.
#pragma once

#include "engine/Calls.h"
#include "engine/Engine.h"
#include "vocabulary/Vocabulary.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace Vel::Engine {

/// A channel as a computation sees it: what it is, and where the samples of the block are.
struct ChannelAtWork {
    const Channel* channel;
    Column* column;
};

/// One sample of any type as the library sees it.
class SampleCell {
public:
    explicit SampleCell(const AnySample& sample) {
        std::visit([this](const auto& value) { std::memcpy(bytes.data(), &value, sizeof value); }, sample);
    }
    const void* Address() const noexcept { return bytes.data(); }
    template <Sample T>
    T Get() const noexcept {
        T value;
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }
    template <Sample T>
    void Set(T value) noexcept {
        std::memcpy(bytes.data(), &value, sizeof value);
    }

private:
    alignas(std::uint64_t) std::array<std::byte, sizeof(std::uint64_t)> bytes{};
};

class Computation {
public:
    /// Creates and initializes the operation. Columns and channels must stay where they are.
    Computation(const ComputationPlan& plan, std::vector<ChannelAtWork> itsResults,
                std::vector<ChannelAtWork> itsOperands);

    /// How a block is computed; chosen once for each block.
    enum LoopKind : std::uint8_t { plain, oneRow, withStatuses };

    /// Computes the rows of a block: from the operands' columns into those of the results, which are contiguous.
    void Run(LoopKind kind, std::size_t rows) { (this->*loops[kind])(rows); }

    /// Makes room for the statuses of a block.
    void ReserveStatuses(std::size_t rows) { statuses.resize(rows); }
    std::span<const Status> Statuses(std::size_t rows) const { return std::span(statuses).first(rows); }
    const std::array<std::uint64_t, statusTexts.size()>& Totals() const { return totals; }

private:
    using Loop = void (Computation::*)(std::size_t rows);

    void CreateOperation(const ComputationPlan& plan);
    void InitializeOperation(const ComputationPlan& plan) const;
    template <Sample T>
    void ChooseLoops();
    template <Sample T, std::size_t operandCount>
    void RunPlain(std::size_t rows);
    template <Sample T, std::size_t operandCount>
    void RunOneRow(std::size_t rows);
    template <Sample T>
    void RunWithStatuses(std::size_t rows);
    template <Sample T>
    Status ExecuteWithStatus(std::size_t row);
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
    std::vector<Status> statuses;
    std::array<std::uint64_t, statusTexts.size()> totals{};
};

} // namespace Vel::Engine
