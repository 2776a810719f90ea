/// How an operation reaches the host's channels, and how it recognises that a channel holds no valid sample.
#pragma once

#include "core/SampleTypes.h"

#include <cmath>
#include <cstddef>
#include <string_view>

namespace Velmarosk::Operation {

/// The address of the host's pointer to the current sample of a channel. Both pointers belong to the host. Every access
/// follows both, so the host moves the current sample by changing the inner pointer alone.
template <Sample T>
class ValueRef {
public:
    explicit ValueRef(T** hostPointer) noexcept : location(hostPointer) {}

    bool HasSample() const noexcept { return *location != nullptr; }
    T Read() const noexcept { return **location; }
    void Write(T sample) const noexcept { **location = sample; }

private:
    T** location;
};

/// The references that a host passes to Create, in the order of the type signature: results, then operands.
class References {
public:
    References(void* const* hostPointers, std::string_view typeSignature) noexcept
        : locations(hostPointers), letters(typeSignature) {}

    char Letter(std::size_t index) const noexcept { return letters[index]; }
    void* LocationAt(std::size_t index) const noexcept { return locations[index]; }

    template <Sample T>
    ValueRef<T> At(std::size_t index) const noexcept {
        return ValueRef<T>(static_cast<T**>(locations[index]));
    }

private:
    void* const* locations;
    std::string_view letters;
};

/// Whether a sample is its channel's NoValue marker. Integers compare plainly. A floating marker that is a NaN stands
/// for every NaN; any other floating marker compares in the ordinary way, so no NaN matches it.
template <Sample T>
bool SampleEquals(T sample, T marker) noexcept {
    return IsNaN(marker) ? IsNaN(sample) : sample == marker;
}

/// Whether an operand has a marker, and whether that is a NaN: this is decided once, at creation. A 0 then replaces a
/// NaN marker, so one comparison settles every usual sample.
struct NoValueFlag {
    bool isSet = false;
    bool isNaN = false;
};

/// Keeps the sample that an operand's channel holds now as its marker. An operand without a sample gets none.
template <class TReference, Sample T>
void CaptureNoValue(TReference operand, NoValueFlag& flag, T& noValue) noexcept {
    if (!operand.HasSample())
        return;
    const T marker = operand.Read();
    flag = {.isSet = true, .isNaN = IsNaN(marker)};
    noValue = flag.isNaN ? T{0} : marker;
}

/// Whether an operand's sample equals its marker, whether the flag is set or not. A marker that was not captured is 0.
template <class TReference, Sample T>
bool EqualsNoValue(TReference operand, const NoValueFlag& flag, const T& noValue) noexcept {
    const T sample = operand.Read();
    if constexpr (FloatSample<T>) {
        if (std::islessgreater(sample, noValue)) [[likely]]
            return false;
        return IsNaN(sample) == flag.isNaN; // it is a NaN, or equal to the marker or the 0 that stands for it
    } else {
        return SampleEquals(sample, noValue);
    }
}

/// Whether an operand holds its marker now. Does not read an operand without a marker.
template <class TReference, Sample T>
bool HoldsNoValue(TReference operand, const NoValueFlag& flag, const T& noValue) noexcept {
    if (!flag.isSet) [[unlikely]]
        return false;
    return EqualsNoValue(operand, flag, noValue);
}

} // namespace Velmarosk::Operation
