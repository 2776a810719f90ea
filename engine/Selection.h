/// Chooses the rows of the result if the plan wants only some of them.
#pragma once

#include "engine/Rules.h"

#include <cstddef>
#include <span>
#include <vector>

namespace Vel::Engine {

/// Among the rows of a block: the last row of the previous block.
inline constexpr std::size_t rowBefore = static_cast<std::size_t>(-1);

/// Chooses the rows in which a channel is true; or the last row before each change of a channel, and the last of all.
class Selection {
public:
    explicit Selection(const Truth& itsTruth) : truth(itsTruth) {}
    explicit Selection(const Changes& itsChanges) : changes(itsChanges) {}

    /// Chooses from the next block. On a restart, the last row before it is chosen as well.
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
    /// No more blocks follow: chooses the last row.
    void End() {
        chosen.clear();
        if (std::exchange(isWaiting, false))
            chosen.push_back(rowBefore);
    }

    std::span<const std::size_t> Rows() const { return chosen; }
    /// Whether the last row of the block may still be chosen later.
    bool IsWaiting() const { return isWaiting; }

private:
    std::optional<Truth> truth;
    std::optional<Changes> changes;
    bool isWaiting = false; ///< the last row so far may precede a change
    std::vector<std::size_t> chosen;
};

} // namespace Vel::Engine
