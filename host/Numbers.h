// Numbers as text: cells of a recording, cells of a result.
#pragma once

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

namespace Velreplay {

/// Whether a cell says that there is no sample: empty, NaN or NA.
inline bool IsNoSample(std::string_view text) {
    if (text.empty())
        return true;
    if ((text[0] | 0x20) != 'n' || text.size() > 3)
        return false;
    return text == "NaN" || text == "NA" || text == "nan" || text == "na" || text == "NAN";
}

/// Reads a whole text as a number of type T. A leading plus sign is taken.
template <class T>
std::errc ReadNumber(std::string_view text, T& value) {
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

/// Writes a number in the shortest form that reads back exactly, and returns its end.
template <class T>
char* WriteNumber(char* begin, T value) {
    return std::to_chars(begin, begin + longestNumber, value).ptr;
}

} // namespace Velreplay
