/// Arithmetic whose outcome the operations promise to the last bit, and that plain expressions would not give: integers
/// that wrap at the width of their type, and conversions as the 64-bit x86 instructions make them.
#pragma once

#include "core/SampleTypes.h"

#include <limits>
#include <type_traits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace Velmarosk::Operation {

/// The unsigned type in which a calculation wraps without undefined behaviour and without promotion to a signed int
/// (65535 * 65535 overflows a promoted UInt16).
template <IntegerSample T>
using WrappingType = std::conditional_t<sizeof(T) < sizeof(UInt32), UInt32, std::make_unsigned_t<T>>;

template <IntegerSample T>
constexpr T WrappingAdd(T a, T b) noexcept {
    using Wide = WrappingType<T>;
    return static_cast<T>(static_cast<Wide>(a) + static_cast<Wide>(b));
}

template <IntegerSample T>
constexpr T WrappingSubtract(T a, T b) noexcept {
    using Wide = WrappingType<T>;
    return static_cast<T>(static_cast<Wide>(a) - static_cast<Wide>(b));
}

template <IntegerSample T>
constexpr T WrappingMultiply(T a, T b) noexcept {
    using Wide = WrappingType<T>;
    return static_cast<T>(static_cast<Wide>(a) * static_cast<Wide>(b));
}

// A sum and a product of two NaNs are the first one. Compilers hold both operations for commutative, so that it would
// be left to chance which NaN is the first; here it is as written.

template <FloatSample T>
T AddInOrder(T first, T second) noexcept {
#if defined(__x86_64__)
    if constexpr (std::same_as<T, Float32>)
        asm("addss %1, %0" : "+x"(first) : "x"(second));
    else
        asm("addsd %1, %0" : "+x"(first) : "x"(second));
    return first;
#else
    return first + second;
#endif
}

template <FloatSample T>
T MultiplyInOrder(T first, T second) noexcept {
#if defined(__x86_64__)
    if constexpr (std::same_as<T, Float32>)
        asm("mulss %1, %0" : "+x"(first) : "x"(second));
    else
        asm("mulsd %1, %0" : "+x"(first) : "x"(second));
    return first;
#else
    return first * second;
#endif
}

/// Truncation toward zero. What does not fit, and a NaN, gives the most negative integer.
template <SignedSample TInteger, FloatSample T>
constexpr TInteger TruncateSafely(T value) noexcept {
    constexpr T lowest = static_cast<T>(std::numeric_limits<TInteger>::lowest()); // a power of 2 and so exact
    // What lies between the lowest integer and the next one below truncates to the lowest as well.
    const bool fits = value >= lowest && value < -lowest;
    return fits ? static_cast<TInteger>(value) : std::numeric_limits<TInteger>::lowest();
}

/// TruncateSafely in the one instruction that this processor has for it.
template <FloatSample T>
SInt32 TruncateToSInt32(T value) noexcept {
#if defined(__x86_64__)
    if constexpr (std::same_as<T, Float32>)
        return _mm_cvttss_si32(_mm_set_ss(value));
    else
        return _mm_cvttsd_si32(_mm_set_sd(value));
#else
    return TruncateSafely<SInt32>(value);
#endif
}

/// As TruncateToSInt32, to 64 bits.
template <FloatSample T>
SInt64 TruncateToSInt64(T value) noexcept {
#if defined(__x86_64__)
    if constexpr (std::same_as<T, Float32>)
        return _mm_cvttss_si64(_mm_set_ss(value));
    else
        return _mm_cvttsd_si64(_mm_set_sd(value));
#else
    return TruncateSafely<SInt64>(value);
#endif
}

/// Values below 2^63, and NaNs, keep the bits of their signed truncation, so that -1.0 gives the highest value. From
/// 2^64 up the result stands still at 2^63.
template <FloatSample T>
UInt64 TruncateToUInt64(T value) noexcept {
    constexpr T bound = 9223372036854775808.0; // 2^63
    constexpr UInt64 boundAsInteger = UInt64{1} << 63;
    if (!(value >= bound))
        return static_cast<UInt64>(TruncateToSInt64(value));
    const T rest = value - bound;
    return rest < bound ? static_cast<UInt64>(TruncateToSInt64(rest)) + boundAsInteger : boundAsInteger;
}

/// Converts the bits as a signed integer, and adds 2^64 if the top bit was set. Both steps round, which no conversion
/// of a compiler does: some values come out one bit away from the nearest.
template <FloatSample T>
constexpr T FloatFromUInt64(UInt64 value) noexcept {
    const auto bits = static_cast<SInt64>(value);
    const T converted = static_cast<T>(bits);
    return bits < 0 ? converted + static_cast<T>(18446744073709551616.0) : converted;
}

/// A sample in another type, without saturation: integers keep their low bits or are extended by their own signedness,
/// floating values are truncated as above (for signed types up to 32 bits in 32 bits, for the others in 64) and keep
/// their low bits then.
template <Sample TResult, Sample TOperand>
TResult ConvertSample(TOperand sample) noexcept {
    if constexpr (IntegerSample<TOperand> || FloatSample<TResult>) {
        if constexpr (FloatSample<TResult> && std::same_as<TOperand, UInt64>)
            return FloatFromUInt64<TResult>(sample);
        else
            return static_cast<TResult>(sample);
    } else if constexpr (std::same_as<TResult, UInt64>) {
        return TruncateToUInt64(sample);
    } else if constexpr (SignedSample<TResult> && sizeof(TResult) <= sizeof(SInt32)) {
        return static_cast<TResult>(TruncateToSInt32(sample));
    } else {
        return static_cast<TResult>(TruncateToSInt64(sample));
    }
}

} // namespace Velmarosk::Operation
