/// Users' texts in messages: short, and harmless to a terminal, whatever they contain.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Vel {

/// The text in quotes. A long text is cut and ends in "..."; bytes that are not printable appear as \xNN.
inline std::string Quoted(std::string_view text) {
    constexpr std::size_t mostBytes = 60;
    constexpr std::string_view digits = "0123456789abcdef";
    const auto isMiddleOfCharacter = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
    std::size_t length = text.size();
    if (length > mostBytes)
        for (length = mostBytes; length > mostBytes - 4 && isMiddleOfCharacter(text[length]);)
            --length;
    std::string quoted = "\"";
    for (const char byte : text.substr(0, length)) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < ' ' || code == 0x7F)
            quoted.append("\\x").append({digits[code >> 4], digits[code & 15]});
        else
            quoted += byte;
    }
    return quoted + (length < text.size() ? "...\"" : "\"");
}

} // namespace Vel
