/// Arithmetic whose outcome the operations promise to the last bit, and that plain expressions would not give: integers
/// that wrap at the width of their type.
#pragma once

#include "core/SampleTypes.h"

#include <type_traits>

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

} // namespace Velmarosk::Operation
