// Writes a number for a message or a file: the shortest text that reads back as the same number.
#pragma once

#include <array>
#include <charconv>
#include <string>

namespace Vel::Engine {

inline std::string Text(double number) {
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

} // namespace Vel::Engine
