/// Numbers as text: cells of a recording, cells of a result.
#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace Vel::Recordings {

/// Whether a cell says that there is no sample: empty, NaN or NA.
inline bool IsNoSample(std::string_view text) {
    if (text.empty())
        return true;
    if ((text[0] | 0x20) != 'n' || text.size() > 3)
        return false;
    return text == "NaN" || text == "NA" || text == "nan" || text == "na" || text == "NAN";
}

/// Powers of ten for the short decimal numbers that recordings mostly hold.
inline constexpr std::array<double, 16> powersOfTen{1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                    1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

/// Reads a decimal number of up to 15 digits without exponent. Digits and power of ten are exact as Float64 then, so
/// their one division rounds right, as std::from_chars does. False: it is not of this form.
inline bool ReadShortDecimal(std::string_view text, double& value) {
    const bool isNegative = text[0] == '-';
    if (isNegative)
        text.remove_prefix(1);
    if (text.empty() || text.size() >= powersOfTen.size() || text.front() == '.' || text.back() == '.')
        return false;
    std::uint64_t digits = 0;
    std::size_t point = text.size() - 1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto digit = static_cast<unsigned>(text[i] - '0');
        if (digit <= 9)
            digits = digits * 10 + digit;
        else if (text[i] == '.' && point == text.size() - 1)
            point = i;
        else
            return false;
    }
    const double number = static_cast<double>(digits) / powersOfTen[text.size() - 1 - point];
    value = isNegative ? -number : number;
    return true;
}

/// Reads a whole text as a number of type T. It may begin with a plus sign.
template <class T>
std::errc ReadNumber(std::string_view text, T& value) {
    if constexpr (std::is_same_v<T, double>)
        if (ReadShortDecimal(text, value))
            return std::errc();
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc())
        return error;
    return stop == end ? std::errc() : std::errc::invalid_argument;
}

/// The longest text that WriteNumber writes.
inline constexpr std::ptrdiff_t longestNumber = 32;

/// Writes a number below 100000 that has up to three decimals, and returns its end; null for other numbers. This is
/// the shortest form: no two decimal numbers of up to 15 digits stand for the same Float64, and an exponent would be no
/// shorter here.
inline char* WriteShortDecimal(char* begin, double value) {
    constexpr double limit = 1e5;
    const double size = std::abs(value);
    if (!(size < limit) || (value == 0 && std::signbit(value)))
        return nullptr;
    constexpr std::uint32_t power = 1000;
    // A digit that is rounded wrong fails the comparison. NOLINTNEXTLINE(bugprone-incorrect-roundings)
    const auto digits = static_cast<std::uint32_t>(size * power + 0.5);
    if (static_cast<double>(digits) / power != size)
        return nullptr;
    if (value < 0)
        *begin++ = '-';
    char* const point = std::to_chars(begin, begin + longestNumber - 1, digits / power).ptr;
    const std::uint32_t decimals = digits % power;
    if (decimals == 0)
        return point;
    point[0] = '.';
    point[1] = static_cast<char>('0' + decimals / 100);
    point[2] = static_cast<char>('0' + decimals / 10 % 10);
    point[3] = static_cast<char>('0' + decimals % 10);
    return point + (decimals % 100 == 0 ? 2 : decimals % 10 == 0 ? 3 : 4);
}

/// Writes a number in the shortest form that reads back exactly, as std::to_chars has it, and returns its end.
template <class T>
char* WriteNumber(char* begin, T value) {
    if constexpr (std::is_same_v<T, double>)
        if (char* const end = WriteShortDecimal(begin, value))
            return end;
    return std::to_chars(begin, begin + longestNumber, value).ptr;
}

} // namespace Vel::Recordings
