/// The ten sample types, with the letter and the code by which a host names each of them.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <concepts>
#include <cstddef>
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

// Markers, comparisons and results follow IEC 559, and hosts exchange samples in these widths.
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

/// Never true for an integer.
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

/// Letter, name and size in bytes of a sample type.
struct TypeEntry {
    char letter;
    const char* name;
    std::size_t size;
};

/// By code. The first and the last are no sample types and have neither name nor size.
inline constexpr std::array<TypeEntry, codeText + 1> typesByCode{{{'\0', "", 0},
                                                                  {'B', "UInt8", 1},
                                                                  {'W', "UInt16", 2},
                                                                  {'L', "UInt32", 4},
                                                                  {'Q', "UInt64", 8},
                                                                  {'b', "SInt8", 1},
                                                                  {'w', "SInt16", 2},
                                                                  {'l', "SInt32", 4},
                                                                  {'q', "SInt64", 8},
                                                                  {'F', "Float32", 4},
                                                                  {'D', "Float64", 8},
                                                                  {'S', "", 0}}};

/// Codes by character; only the letters of the two floating types are case insensitive.
inline constexpr auto typeCodes = [] {
    std::array<std::int8_t, 256> codes{};
    for (int code = codeUInt8; code <= codeFloat64; ++code)
        codes[static_cast<unsigned char>(typesByCode[static_cast<std::size_t>(code)].letter)] =
            static_cast<std::int8_t>(code);
    codes['f'] = codeFloat32;
    codes['d'] = codeFloat64;
    codes['S'] = codes['s'] = codeText;
    return codes;
}();

constexpr int TypeCodeFromLetter(char letter) noexcept { return typeCodes[static_cast<unsigned char>(letter)]; }

/// The size in bytes of a sample of the type with this code; 0 if no operation accepts it.
constexpr std::size_t SizeOfSample(int typeCode) noexcept {
    return typesByCode[static_cast<std::size_t>(typeCode)].size;
}

/// The letter of a sample type, in the form in which the operation table writes it.
template <Sample T>
inline constexpr char letterOf = [] {
    if constexpr (FloatSample<T>)
        return typesByCode[sizeof(T) == sizeof(Float32) ? codeFloat32 : codeFloat64].letter;
    else // the codes of each signedness ascend with the width: 1, 2, 4, 8 bytes
        return typesByCode[(SignedSample<T> ? codeSInt8 : codeUInt8) + std::countr_zero(sizeof(T))].letter;
}();

} // namespace Velmarosk::Operation
