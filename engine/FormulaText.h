/// The text of a formula, and error messages that point into it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace Vel::Engine {

/// A formula with its place in the plan.
class FormulaText {
public:
    FormulaText(std::string itsText, std::string itsPlace) : text(std::move(itsText)), place(std::move(itsPlace)) {}

    std::string_view Text() const { return text; }
    const std::string& Place() const { return place; }

    /// Throws Error with the formula and a caret below one of its characters.
    [[noreturn]] void Refuse(std::size_t position, const std::string& fault, const std::string& remedy) const;

private:
    std::string text;
    std::string place;
};

/// Part of a formula for messages: on one line, not too long.
std::string Shortened(std::string_view text);

/// Whether this byte continues a character in UTF-8.
inline bool IsContinuation(char character) { return (static_cast<unsigned char>(character) & 0xC0U) == 0x80U; }

} // namespace Vel::Engine
