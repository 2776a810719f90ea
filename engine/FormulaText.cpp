#include "engine/FormulaText.h"

#include "vocabulary/Error.h"

#include <algorithm>

namespace Vel::Engine {

namespace {

bool IsControl(char character) { return static_cast<unsigned char>(character) < ' ' || character == '\x7f'; }

/// The line of a formula around a position, and the caret below it.
std::string Pointer(std::string_view text, std::size_t position) {
    constexpr std::size_t mostAround = 50;
    const std::size_t lineBegin = position == 0 ? 0 : text.rfind('\n', position - 1) + 1; // npos + 1 is 0
    const std::size_t lineEnd = std::min(text.find('\n', position), text.size());
    std::size_t begin = position - lineBegin > mostAround ? position - mostAround : lineBegin;
    std::size_t end = lineEnd - position > mostAround ? position + mostAround : lineEnd;
    while (begin < position && IsContinuation(text[begin]))
        ++begin;
    while (end < lineEnd && IsContinuation(text[end]))
        ++end;
    const std::string left = begin == lineBegin ? "" : "... ";
    std::string shown = left;
    std::string caret(left.size(), ' ');
    for (std::size_t i = begin; i < end; ++i) {
        shown += IsControl(text[i]) ? ' ' : text[i];
        if (i < position && !IsContinuation(text[i]))
            caret += ' ';
    }
    return "  " + shown + (end == lineEnd ? "" : " ...") + "\n    " + caret + "^";
}

} // namespace

void FormulaText::Refuse(std::size_t position, const std::string& fault, const std::string& remedy) const {
    const std::size_t end = remedy.find_last_not_of('\n') + 1; // npos + 1 is 0
    throw Error(place, fault, Pointer(text, position) + (end == 0 ? "" : "\n  " + remedy.substr(0, end)));
}

std::string Shortened(std::string_view text) {
    constexpr std::size_t most = 40;
    std::size_t end = std::min(text.size(), most);
    while (end < text.size() && IsContinuation(text[end]))
        ++end;
    std::string shown(text.substr(0, end));
    std::replace_if(shown.begin(), shown.end(), IsControl, ' ');
    return shown + (end < text.size() ? "..." : "");
}

} // namespace Vel::Engine
