/// The ten sample types, with the letter and the code by which a host names each of them.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>

namespace Velmarosk::Operation {

using UInt8 = std::uint8_t;
using UInt16 = std::uint16_t;
using UInt32 = std::uint32_t;
using UInt64 = std::uint64_t;
using SInt8 = std::int8_t;
using SInt16 = std::int16_t;
using SInt32 = std::int32_t;
using SInt64 = std::int64_t;
using Float32 = float;
using Float64 = double;

// Markers, comparisons and results are those of IEC 559, and samples are exchanged in these widths.
static_assert(std::numeric_limits<Float32>::is_iec559 && sizeof(Float32) == sizeof(UInt32));
static_assert(std::numeric_limits<Float64>::is_iec559 && sizeof(Float64) == sizeof(UInt64));

/// The carrier of a boolean sample: written as 0 or 1, read as true when it is not 0.
using Boolean = UInt16;

template <class T, class... TOthers>
concept OneOf = (std::same_as<T, TOthers> || ...);

template <class T>
concept UnsignedSample = OneOf<T, UInt8, UInt16, UInt32, UInt64>;
template <class T>
concept SignedSample = OneOf<T, SInt8, SInt16, SInt32, SInt64>;
template <class T>
concept IntegerSample = UnsignedSample<T> || SignedSample<T>;
template <class T>
concept FloatSample = OneOf<T, Float32, Float64>;
template <class T>
concept Sample = IntegerSample<T> || FloatSample<T>;

/// Never true of an integer.
template <Sample T>
bool IsNaN(T sample) noexcept {
    if constexpr (FloatSample<T>)
        return std::isnan(sample);
    else
        return false;
}

/// The number behind a letter of a type signature.
enum TypeCode : int {
    codeUnknown = 0, ///< any character that is no type letter
    codeUInt8 = 1,
    codeUInt16 = 2,
    codeUInt32 = 3,
    codeUInt64 = 4,
    codeSInt8 = 5,
    codeSInt16 = 6,
    codeSInt32 = 7,
    codeSInt64 = 8,
    codeFloat32 = 9,
    codeFloat64 = 10,
    codeText = 11, ///< a known letter, accepted by no operation
};

/// The code of a type letter; only the letters of the two floating types are case insensitive.
constexpr int TypeCodeFromLetter(char letter) noexcept {
    switch (letter) {
    case 'B':
        return codeUInt8;
    case 'W':
        return codeUInt16;
    case 'L':
        return codeUInt32;
    case 'Q':
        return codeUInt64;
    case 'b':
        return codeSInt8;
    case 'w':
        return codeSInt16;
    case 'l':
        return codeSInt32;
    case 'q':
        return codeSInt64;
    case 'F':
    case 'f':
        return codeFloat32;
    case 'D':
    case 'd':
        return codeFloat64;
    case 'S':
    case 's':
        return codeText;
    default:
        return codeUnknown;
    }
}

/// The letter of a sample type, in the form in which the operation table writes it.
template <Sample T>
inline constexpr char letterOf = '\0';
template <>
inline constexpr char letterOf<UInt8> = 'B';
template <>
inline constexpr char letterOf<UInt16> = 'W';
template <>
inline constexpr char letterOf<UInt32> = 'L';
template <>
inline constexpr char letterOf<UInt64> = 'Q';
template <>
inline constexpr char letterOf<SInt8> = 'b';
template <>
inline constexpr char letterOf<SInt16> = 'w';
template <>
inline constexpr char letterOf<SInt32> = 'l';
template <>
inline constexpr char letterOf<SInt64> = 'q';
template <>
inline constexpr char letterOf<Float32> = 'F';
template <>
inline constexpr char letterOf<Float64> = 'D';

} // namespace Velmarosk::Operation
