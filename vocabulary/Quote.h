/// Users' texts in messages: short, and harmless to a terminal, whatever they contain.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Vel {

/// Bytes of the printable character of UTF-8 that the text begins with; 0: it begins with none. Control characters are
/// none, nor are those that turn the direction of what follows.
inline std::size_t PrintableBytes(std::string_view text) {
    const auto byteAt = [text](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    const unsigned first = byteAt(0);
    if (first < 0x80)
        return first >= ' ' && first != 0x7F ? 1 : 0;
    if (first < 0xC0)
        return 0;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    std::uint32_t code = first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(i) & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (byteAt(i) & 0x3F);
    }
    constexpr std::array<std::uint32_t, 5> least{0, 0, 0xA0, 0x800, 0x10000}; // by length; below 0xA0 are controls
    const auto isIn = [code](std::uint32_t from, std::uint32_t to) { return code >= from && code <= to; };
    const bool turns = isIn(0x200E, 0x200F) || isIn(0x202A, 0x202E) || isIn(0x2066, 0x2069);
    const bool isLine = isIn(0x2028, 0x2029);
    return code < least[length] || code > 0x10FFFF || isIn(0xD800, 0xDFFF) || turns || isLine ? 0 : length;
}

/// The text with \xNN for the bytes that are no printable text.
inline std::string Escaped(std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string escaped;
    while (!text.empty()) {
        const std::size_t length = PrintableBytes(text);
        if (length == 0) {
            const auto code = static_cast<unsigned char>(text[0]);
            escaped.append("\\x").append({digits[code >> 4], digits[code & 15]});
        } else {
            escaped.append(text.substr(0, length));
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return escaped;
}

/// The text in quotes. A long text is cut and ends in "..."; bytes that are not printable appear as \xNN.
inline std::string Quoted(std::string_view text) {
    constexpr std::size_t mostBytes = 60;
    const auto isMiddleOfCharacter = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
    std::size_t length = text.size();
    if (length > mostBytes)
        for (length = mostBytes; length > mostBytes - 4 && isMiddleOfCharacter(text[length]);)
            --length;
    return "\"" + Escaped(text.substr(0, length)) + (length < text.size() ? "...\"" : "\"");
}

} // namespace Vel
