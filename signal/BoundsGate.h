/// Decides which samples count.
#pragma once

#include "core/Parameters.h"

#include <limits>

namespace Velmarosk::Operation {

/// A pair of inclusive bounds, at first the full finite range of the type. They are not sorted: a lower bound above the
/// upper one admits nothing. NaNs pass, and a bound that is a NaN stops nothing.
template <Sample T>
struct BoundsGate {
    bool Admits(T sample) const noexcept { return !(lowerBound > sample) && !(sample > upperBound); }

    void Read(Parameters& parameters) noexcept {
        lowerBound = parameters.NextSample<T>();
        upperBound = parameters.NextSample<T>();
    }

    T lowerBound = std::numeric_limits<T>::lowest();
    T upperBound = std::numeric_limits<T>::max();
};

} // namespace Velmarosk::Operation
