/// The rows of a result, where a plan wants but some of them.
#pragma once

#include "engine/Rules.h"

#include <cstddef>
#include <span>
#include <vector>

namespace Vel::Engine {

/// Stands for the last row of the block before among the rows of a block.
inline constexpr std::size_t rowBefore = static_cast<std::size_t>(-1);

/// The rows in which a channel is true, or the last ones before another channel changes, and the very last.
class Selection {
public:
    explicit Selection(const Truth& itsTruth) : truth(itsTruth) {}
    explicit Selection(const Changes& itsChanges) : changes(itsChanges) {}

    /// Chooses from the next block. If it begins anew, what was before ends.
    void Choose(std::size_t rows, bool isRestart) {
        chosen.clear();
        if (truth)
            truth->ForEachRow(rows, [this](std::size_t row) { chosen.push_back(row); });
        if (!changes)
            return;
        if (isRestart) {
            changes->Forget();
            End();
        }
        changes->ForEachRow(rows, [this](std::size_t row) { chosen.push_back(row == 0 ? rowBefore : row - 1); });
        isWaiting = isWaiting || rows != 0;
    }
    /// There is no block any more: chooses the last row.
    void End() {
        chosen.clear();
        if (std::exchange(isWaiting, false))
            chosen.push_back(rowBefore);
    }

    std::span<const std::size_t> Rows() const { return chosen; }
    /// Whether the last row of a block may be chosen after it.
    bool IsWaiting() const { return isWaiting; }

private:
    std::optional<Truth> truth;
    std::optional<Changes> changes;
    bool isWaiting = false; ///< the last row so far may be one before a change
    std::vector<std::size_t> chosen;
};

} // namespace Vel::Engine
