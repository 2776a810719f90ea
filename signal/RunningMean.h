/// The mean of all samples or of the last ones.
#pragma once

#include "core/Arithmetic.h"
#include "signal/BlockRing.h"

namespace Velmarosk::Operation {

/// Sums in Float64 for every type, incrementally: the sum is never computed again from the samples, so NaNs and the
/// rounding residue of samples that have left stay in it until Clear. A new window length takes effect with the next
/// sample and drops nothing by itself; once the count has reached the length, one sample leaves for each that enters.
template <Sample T>
class RunningMean {
public:
    /// In samples, 0 for the mean of everything.
    void SetWindowLength(UInt32 length) noexcept { windowLength = length; }

    bool HasValue() const noexcept { return count != 0; }

    /// Call it only if HasValue. For integers the fraction is cut off.
    T Value() const noexcept { return ConvertSample<T>(DivideInOrder(sum, FloatFromUInt64<Float64>(count))); }

    void Add(T sample) {
        if (IsSliding())
            return Slide(sample);
        if (windowLength == 0) {
            ++count;
        } else {
            // If the count has reached the length here, all samples counted came while there was no window, so none can
            // leave.
            window.Append(sample);
            if (count < windowLength)
                ++count;
        }
        sum = AddInOrder(ConvertSample<Float64>(sample), sum);
    }

    /// Whether a sample leaves for each that enters.
    bool IsSliding() const noexcept { return windowLength != 0 && count >= windowLength && !window.IsEmpty(); }

    /// Add, if IsSliding, for the sample path.
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
