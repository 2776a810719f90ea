/// How flip-flops, monoflops, time differences and counters see an edge.
#pragma once

#include "core/SampleTypes.h"

namespace Velmarosk::Operation {

/// Reacts only when an operand's value changes. A change to a high value, above 0, is an edge, unless the change before
/// it was one: a change from one high value to another is no edge, but makes the next one possible again. A clock that
/// climbs through 1, 2, 3, 4 has its edges at 1 and 3. Negative values are low. NaNs are low too, and differ from
/// everything, so each is a change.
template <Sample T>
class ChangeRecogniser {
public:
    bool IsEdge(T value) noexcept {
        if (value == oldValue)
            return false;
        oldValue = value;
        isHigh = value > T{0} && !isHigh;
        return isHigh;
    }

    /// Cancels the edge just seen, so the next change to a high value is an edge again.
    void WithdrawEdge() noexcept { isHigh = false; }

private:
    T oldValue = 0;      ///< at the last change
    bool isHigh = false; ///< whether the last change was an edge
};

} // namespace Velmarosk::Operation
