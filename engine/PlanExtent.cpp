#include "engine/PlanExtent.h"

#include "vocabulary/Error.h"

#include <algorithm>

namespace Vel::Engine {

namespace {

constexpr std::size_t mostLevels = 64;

/// The length of the string at the start of the text. A string without closing quotes ends with its line.
std::size_t StringLength(std::string_view text) {
    const char quote = text[0];
    const bool hasEscapes = quote == '"';
    const std::size_t quotes = text.starts_with(hasEscapes ? "\"\"\"" : "'''") ? 3 : 1;
    const std::string_view end = text.substr(0, quotes);
    for (std::size_t i = quotes; i < text.size(); ++i) {
        if (text.substr(i).starts_with(end)) {
            i += quotes;
            while (quotes == 3 && i < text.size() && text[i] == quote) // up to two more may precede the closing ones
                ++i;
            return i;
        }
        if (quotes == 1 && text[i] == '\n')
            return i;
        if (hasEscapes && text[i] == '\\')
            ++i;
    }
    return text.size();
}

} // namespace

void CheckExtent(std::string_view text, const std::string& name) {
    if (text.size() > mostPlanBytes)
        throw Error(name, "the plan is longer than 16 MiB", "name a TOML file");
    std::size_t line = 1;
    std::size_t dots = 0; // since the earliest possible start of a name
    std::size_t brackets = 0;
    for (std::size_t i = 0; i < text.size();) {
        const char character = text[i];
        std::size_t length = 1;
        if (character == '"' || character == '\'')
            length = StringLength(text.substr(i));
        else if (character == '#')
            length = std::min(text.find('\n', i), text.size()) - i;
        else if (character == '.')
            ++dots;
        else if (character == '[' || character == '{')
            ++brackets;
        else if ((character == ']' || character == '}') && brackets > 0)
            --brackets;
        if (std::string_view("\n=,[]{}").find(character) != std::string_view::npos)
            dots = 0;
        if (dots + brackets > mostLevels)
            throw Error(name + ":" + std::to_string(line), "the plan nests tables or lists too deeply",
                        "names with up to 64 dots, and as many brackets, can be read");
        line += static_cast<std::size_t>(std::count(text.begin() + static_cast<std::ptrdiff_t>(i),
                                                    text.begin() + static_cast<std::ptrdiff_t>(i + length), '\n'));
        i += length;
    }
}

} // namespace Vel::Engine
