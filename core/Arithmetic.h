/// Arithmetic that the operations promise to the last bit and that plain expressions would not give: integers that wrap
/// at the width of their type, NaNs by one rule, and conversions as the 64-bit x86 instructions do them.
#pragma once

#include "core/SampleTypes.h"

#include <bit>
#include <cfloat>
#include <cmath>
#include <limits>
#include <type_traits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#if defined(__FAST_MATH__) || defined(__ASSOCIATIVE_MATH__) || defined(__NO_SIGNED_ZEROS__) ||                         \
    defined(__RECIPROCAL_MATH__) || (defined(__FINITE_MATH_ONLY__) && __FINITE_MATH_ONLY__)
#error "VelOperation promises its results to the last bit: it cannot be compiled with -ffast-math or a part of it"
#endif
static_assert(FLT_EVAL_METHOD == 0, "sums and products are rounded in their own type: compile for SSE2, not for x87");

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

// The NaN rule. NaNs are promised to the bit, like every other result:
//
// 1. A calculation on numbers that has no value (infinity - infinity, 0 * infinity) gives the NaN whose sign is set and
//    whose payload is 0.
// 2. A calculation on NaNs gives the first of them.
// 3. A conversion between Float32 and Float64 keeps sign and payload; where it narrows, the upper bits of the payload.
// 4. Every NaN that comes out of 2 and 3 is quiet. A sample that is only copied stays as it is.
//
// This is what the instructions of x86-64 do; other processors differ in each point. Code that writes results of
// floating calculations uses the functions below instead of operators.

template <FloatSample T>
using FloatBits = std::conditional_t<std::same_as<T, Float32>, UInt32, UInt64>;
template <FloatSample T>
inline constexpr int payloadDigits = std::numeric_limits<T>::digits - 1;
template <FloatSample T>
inline constexpr FloatBits<T> quietBit = FloatBits<T>{1} << (payloadDigits<T> - 1);

template <FloatSample T>
T QuietNaN(T nan) noexcept {
    return std::bit_cast<T>(std::bit_cast<FloatBits<T>>(nan) | quietBit<T>);
}

/// The value of a calculation on two operands, or the NaN that the rule asks for instead.
template <FloatSample T>
T ByNaNRule(T value, T first, T second) noexcept {
    if (!IsNaN(value)) [[likely]]
        return value;
    if (IsNaN(first))
        return QuietNaN(first);
    if (IsNaN(second))
        return QuietNaN(second);
    constexpr auto infinity = std::bit_cast<FloatBits<T>>(std::numeric_limits<T>::infinity());
    constexpr FloatBits<T> sign = FloatBits<T>{1} << (std::numeric_limits<FloatBits<T>>::digits - 1);
    return std::bit_cast<T>(sign | infinity | quietBit<T>);
}

/// std::fmod; its NaNs depend on the C library.
template <FloatSample T>
T RemainderInOrder(T first, T second) noexcept {
    return ByNaNRule(std::fmod(first, second), first, second);
}

/// Truncation toward zero. NaNs and values that do not fit give the most negative integer.
template <SignedSample TInteger, FloatSample T>
constexpr TInteger TruncateSafely(T value) noexcept {
    constexpr T lowest = static_cast<T>(std::numeric_limits<TInteger>::lowest()); // a power of 2 and so exact
    // A value less than 1 below the lowest integer does not count as fitting; it gives the lowest either way.
    const bool fits = value >= lowest && value < -lowest;
    return fits ? static_cast<TInteger>(value) : std::numeric_limits<TInteger>::lowest();
}

#if defined(__x86_64__) && !defined(VEL_PORTABLE)

/// Whether the division of the lowest value by -1 faults, in 32 and 64 bits. Where it does not, the quotient wraps.
inline constexpr bool divisionFaults = true;

// x86 returns the first of two NaNs; compilers may swap the operands of + and *, so inline asm fixes the order. The
// operands are in registers: given the choice, clang would write each of them to memory first.

template <FloatSample T>
T AddInOrder(T first, T second) noexcept {
    if constexpr (std::same_as<T, Float32>)
        asm("addss %1, %0" : "+x"(first) : "x"(second));
    else
        asm("addsd %1, %0" : "+x"(first) : "x"(second));
    return first;
}

template <FloatSample T>
T MultiplyInOrder(T first, T second) noexcept {
    if constexpr (std::same_as<T, Float32>)
        asm("mulss %1, %0" : "+x"(first) : "x"(second));
    else
        asm("mulsd %1, %0" : "+x"(first) : "x"(second));
    return first;
}

template <FloatSample T>
T SubtractInOrder(T first, T second) noexcept {
    return first - second;
}

template <FloatSample T>
T DivideInOrder(T first, T second) noexcept {
    return first / second;
}

/// The instruction itself: some compilers call the C library, which may give another NaN.
template <FloatSample T>
T SquareRootOf(T value) noexcept {
    if constexpr (std::same_as<T, Float32>)
        return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(value)));
    else
        return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(value)));
}

/// A floating sample in the other floating type.
template <FloatSample TResult, FloatSample T>
TResult ConvertFloat(T value) noexcept {
    return static_cast<TResult>(value);
}

/// TruncateSafely; this processor has one instruction for it.
template <FloatSample T>
SInt32 TruncateToSInt32(T value) noexcept {
    if constexpr (std::same_as<T, Float32>)
        return _mm_cvttss_si32(_mm_set_ss(value));
    else
        return _mm_cvttsd_si32(_mm_set_sd(value));
}

/// Like TruncateToSInt32, to 64 bits.
template <FloatSample T>
SInt64 TruncateToSInt64(T value) noexcept {
    if constexpr (std::same_as<T, Float32>)
        return _mm_cvttss_si64(_mm_set_ss(value));
    else
        return _mm_cvttsd_si64(_mm_set_sd(value));
}

#else

inline constexpr bool divisionFaults = false;

template <FloatSample T>
T AddInOrder(T first, T second) noexcept {
    return ByNaNRule(first + second, first, second);
}

template <FloatSample T>
T MultiplyInOrder(T first, T second) noexcept {
    return ByNaNRule(first * second, first, second);
}

template <FloatSample T>
T SubtractInOrder(T first, T second) noexcept {
    return ByNaNRule(first - second, first, second);
}

template <FloatSample T>
T DivideInOrder(T first, T second) noexcept {
    return ByNaNRule(first / second, first, second);
}

template <FloatSample T>
T SquareRootOf(T value) noexcept {
    return ByNaNRule(std::sqrt(value), value, value);
}

template <FloatSample TResult, FloatSample T>
TResult ConvertFloat(T value) noexcept {
    if (!IsNaN(value)) [[likely]]
        return static_cast<TResult>(value);
    const UInt64 sign = std::signbit(value) ? UInt64{1} << 63 : 0;
    const UInt64 payload = UInt64{std::bit_cast<FloatBits<T>>(value)} << (64 - payloadDigits<T>); // at the upper end
    const auto bits = static_cast<FloatBits<TResult>>(payload >> (64 - payloadDigits<TResult>));
    constexpr auto infinity = std::bit_cast<FloatBits<TResult>>(std::numeric_limits<TResult>::infinity());
    constexpr int signShift = 64 - std::numeric_limits<FloatBits<TResult>>::digits;
    return QuietNaN(std::bit_cast<TResult>(static_cast<FloatBits<TResult>>(sign >> signShift) | infinity | bits));
}

template <FloatSample T>
SInt32 TruncateToSInt32(T value) noexcept {
    return TruncateSafely<SInt32>(value);
}

template <FloatSample T>
SInt64 TruncateToSInt64(T value) noexcept {
    return TruncateSafely<SInt64>(value);
}

#endif

/// Values below 2^63, and NaNs, keep the bits of their signed truncation, so -1.0 gives the highest value. From 2^64 up
/// the result stays at 2^63.
template <FloatSample T>
UInt64 TruncateToUInt64(T value) noexcept {
    constexpr T bound = 9223372036854775808.0; // 2^63
    constexpr UInt64 boundAsInteger = UInt64{1} << 63;
    if (!(value >= bound))
        return static_cast<UInt64>(TruncateToSInt64(value));
    const T rest = value - bound;
    return rest < bound ? static_cast<UInt64>(TruncateToSInt64(rest)) + boundAsInteger : boundAsInteger;
}

/// Converts the bits as a signed integer, and adds 2^64 if the top bit was set. Both steps round, so some values come
/// out one bit away from the nearest. A compiler's own conversion rounds once.
template <FloatSample T>
constexpr T FloatFromUInt64(UInt64 value) noexcept {
    const auto bits = static_cast<SInt64>(value);
    const T converted = static_cast<T>(bits);
    return bits < 0 ? converted + static_cast<T>(18446744073709551616.0) : converted;
}

/// A sample in another type, without saturation: integers keep their low bits or are extended by their own signedness,
/// floating values are first truncated as above (in 32 bits for signed types of up to 32 bits, else in 64), then keep
/// their low bits.
template <Sample TResult, Sample TOperand>
TResult ConvertSample(TOperand sample) noexcept {
    if constexpr (std::same_as<TResult, TOperand>) {
        return sample;
    } else if constexpr (FloatSample<TResult> && FloatSample<TOperand>) {
        return ConvertFloat<TResult>(sample);
    } else if constexpr (FloatSample<TResult> && std::same_as<TOperand, UInt64>) {
        return FloatFromUInt64<TResult>(sample);
    } else if constexpr (IntegerSample<TOperand>) {
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
