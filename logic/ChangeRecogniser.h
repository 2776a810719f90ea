/// How flip-flops, monoflops, time differences and counters see an edge.
#pragma once

#include "core/SampleTypes.h"

namespace Velmarosk::Operation {

/// Looks at an operand only when its value changes. A new value that is high, above 0, is an edge, unless the change
/// before it was one: a change from one high value to another is intentionally no edge, but makes the next one possible
/// again. A clock that climbs through 1, 2, 3, 4 has its edges at 1 and 3. A negative value is low, and so is a NaN,
/// which differs from everything and so is a change on each sample.
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

    /// Lets the edge that was just seen count as none, so that the next change to a high value is an edge again.
    void WithdrawEdge() noexcept { isHigh = false; }

private:
    T oldValue = 0;      ///< at the last change
    bool isHigh = false; ///< the last change was an edge
};

} // namespace Velmarosk::Operation
