#include "logic/GearTable.h"

#include "platform/File.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <span>

namespace Velmarosk::Operation {

namespace {

constexpr std::size_t pieceSize = 80;

/// A number's text as std::from_chars takes it: without leading white space and plus sign.
std::string_view WithoutLead(std::string_view text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (!text.starts_with('+'))
        return text;
    text.remove_prefix(1);
    return text.starts_with('-') || text.starts_with('+') ? std::string_view() : text;
}

/// The decimal number at the front of a text, in any locale; infinite or 0 if it is out of range. 0 if there is none:
/// words such as "inf" are not numbers.
#ifdef __cpp_lib_to_chars
Float64 ParseFloat(std::string_view text) noexcept {
    text = WithoutLead(text);
    Float64 value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range) {
        // The digits of one piece alone cannot be out of range, so the exponent's sign says at which end.
        const std::string_view number(text.data(), end);
        const bool isTiny = number.find("e-") != std::string_view::npos || number.find("E-") != std::string_view::npos;
        return std::copysign(isTiny ? 0 : std::numeric_limits<Float64>::infinity(), number.front() == '-' ? -1 : 1);
    }
    return error == std::errc() && std::isfinite(value) ? value : 0;
}
#else
// The std::from_chars of libc++ 19 reads integers only.
Float64 ParseFloat(std::string_view text) noexcept {
    text = WithoutLead(text);
    text = text.substr(0, text.find_first_not_of("+-.0123456789eE")); // neither hexadecimal digits nor words
    std::array<char, pieceSize + 1> number{};                         // ends with a NUL, as strtod wants it
    text.copy(number.data(), pieceSize);
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(number.data(), nullptr, classic);
}
#endif

/// The decimal integer at the front of a text, clamped to 32 bits. 0 if there is none.
SInt32 ParseInteger(std::string_view text) noexcept {
    text = WithoutLead(text);
    SInt32 value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range)
        return text.front() == '-' ? std::numeric_limits<SInt32>::min() : std::numeric_limits<SInt32>::max();
    return value;
}

} // namespace

std::optional<GearEntry> ParseGearRecord(std::string_view text) noexcept {
    const std::size_t equalsSign = text.find('=');
    if (equalsSign == std::string_view::npos)
        return std::nullopt;
    // The character before the equals sign is cut off, whatever it is. If there is none, the length wraps, and the
    // whole text, which begins with the sign, is a ratio of 0.
    const std::string_view ratio = text.substr(0, equalsSign - 1);
    const std::string_view gear = text.substr(equalsSign + 1);
    // The low 8 bits of the gear count.
    return GearEntry{.ratio = static_cast<Float32>(ParseFloat(ratio)), .gear = static_cast<SInt8>(ParseInteger(gear))};
}

bool AppendGearTable(const char* fileName, std::vector<GearEntry>& table) {
    Platform::InputFile file(fileName);
    if (!file.IsOpen())
        return false;

    std::array<char, pieceSize + 1> buffer{}; // the last byte stays NUL, for a text without one
    while (const auto delivered = file.Read(std::span(buffer).first<pieceSize>())) {
        if (*delivered == pieceSize)
            return true;
        // Not limited to what was delivered: what an earlier piece left in the buffer belongs to the text.
        if (const auto entry = ParseGearRecord(buffer.data()))
            table.push_back(*entry);
    }
    return false;
}

} // namespace Velmarosk::Operation
