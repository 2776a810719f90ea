/// The mean of all samples or of the last ones.
#pragma once

#include "core/Arithmetic.h"
#include "signal/BlockRing.h"

namespace Velmarosk::Operation {

/// Sums in Float64 for every type, incrementally and never anew: the rounding residue of samples that have left, or a
/// NaN, stays in the sum until Clear. A change of the window's length takes effect with the next sample and drops
/// nothing by itself; from then on one sample leaves for each that enters as soon as the count has reached the length.
template <Sample T>
class RunningMean {
public:
    /// In samples, 0 for the mean of everything.
    void SetWindowLength(UInt32 length) noexcept { windowLength = length; }

    bool HasValue() const noexcept { return count != 0; }

    /// Only after HasValue. Of an integer mean the fraction is cut off.
    T Value() const noexcept { return ConvertSample<T>(DivideInOrder(sum, FloatFromUInt64<Float64>(count))); }

    void Add(T sample) {
        if (IsSliding())
            return Slide(sample);
        if (windowLength == 0) {
            ++count;
        } else {
            // Where the count has reached the length, all that was counted came while there was no window, and nothing
            // of it can leave.
            window.Append(sample);
            if (count < windowLength)
                ++count;
        }
        sum = AddInOrder(ConvertSample<Float64>(sample), sum);
    }

    /// Whether a sample leaves for each that enters.
    bool IsSliding() const noexcept { return windowLength != 0 && count >= windowLength && !window.IsEmpty(); }

    /// Add while IsSliding, for the sample path.
    void Slide(T sample) noexcept {
        const Float64 rest = SubtractInOrder(sum, ConvertSample<Float64>(window.Oldest()));
        window.Replace(sample);
        sum = AddInOrder(ConvertSample<Float64>(sample), rest);
    }

    void Clear() noexcept {
        count = 0;
        sum = 0;
        window.Clear();
    }

private:
    UInt64 count = 0;
    UInt32 windowLength = 0;
    Float64 sum = 0;
    BlockRing<T> window;
};

} // namespace Velmarosk::Operation
