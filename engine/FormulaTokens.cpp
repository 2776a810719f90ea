#include "engine/FormulaTokens.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace Vel::Engine {

namespace {

bool IsDigit(char character) { return character >= '0' && character <= '9'; }
bool IsLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') || character == '_';
}
bool IsBlank(char character) { return character == ' ' || character == '\t' || character == '\n' || character == '\r'; }

/// Operators and words of other languages, and what to write here instead.
struct Foreign {
    std::string_view text;
    const char* remedy;
};
constexpr Foreign foreigners[] = {
    {"**", "write Power(a, b)"},
    {"^", "write Power(a, b), or BitwiseXOr(a, b)"},
    {"~", "write BitwiseNot(a)"},
    {"<>", "write !="},
    {"?", "write If(condition, a, b)"},
    {"=", "write == to compare; name = value is for parameters, inside of a call"},
    {"[", "a list is the value of a parameter, which has a name: points = [[0, 1], [2, 3]]"},
    {".", "a number begins with a digit; a name with a point in it stands in backticks: `a.b`"},
    {";", "operands stand between commas"},
    {",", "a comma stands between the operands of a call; decimals have a point: 1.5"},
    {"\u2212", "write -"},
    {"\u00D7", "write *"},
    {"\u00B7", "write *"},
    {"\u00F7", "write /"},
    {"\u2264", "write <="},
    {"\u2265", "write >="},
    {"\u2260", "write !="},
    {"and", "write &&"},
    {"or", "write ||"},
    {"not", "write !"},
    {"mod", "write %"},
    {"#", "a comment stands outside of the quotes; a name with # in it stands in backticks"},
};

} // namespace

const char* const namesInBackticks =
    "names with other characters than letters, digits and _ stand in backticks: `Temp [V]`";

const char* RemedyForForeign(std::string_view sign) {
    for (const Foreign& foreign : foreigners)
        if (foreign.text == sign)
            return foreign.remedy;
    return nullptr;
}

Token Lexer::Next() {
    while (position < text.size() && IsBlank(text[position]))
        ++position;
    const std::size_t begin = position;
    if (begin == text.size())
        return {Token::Kind::End, begin, begin, {}};
    if (IsDigit(text[begin]))
        return Take(Token::Kind::Number, EndOfNumber());
    if (IsLetter(text[begin]))
        return Take(Token::Kind::Name, EndOfName());
    if (text[begin] == '`')
        return Enclosed(Token::Kind::QuotedName, "close the name: `Temp [V]`");
    if (text[begin] == '"' || text[begin] == '\'')
        return Enclosed(Token::Kind::Text, "close the text: window = \"10 s\"");
    constexpr std::array<std::string_view, 8> pairs{"&&", "||", "==", "!=", "<=", ">=", "<<", ">>"};
    constexpr std::string_view singles = "+-*/%<>!&|(),=[]";
    const std::string_view rest = text.substr(begin);
    if (rest.starts_with("**") || rest.starts_with("<>"))
        Refuse(begin);
    if (std::any_of(pairs.begin(), pairs.end(), [&](std::string_view pair) { return rest.starts_with(pair); }))
        return Take(Token::Kind::Sign, begin + 2);
    if (singles.find(text[begin]) == std::string_view::npos)
        Refuse(begin);
    return Take(Token::Kind::Sign, begin + 1);
}

Token Lexer::Take(Token::Kind kind, std::size_t end) {
    const std::size_t begin = std::exchange(position, end);
    return {kind, begin, end, text.substr(begin, end - begin)};
}

std::size_t Lexer::EndOfName() const {
    std::size_t end = position;
    while (end < text.size() && (IsLetter(text[end]) || IsDigit(text[end])))
        ++end;
    return end;
}

/// 12, 1.5, 1e-3, 0x1F, 0b101. The parser refuses malformed numbers when it converts them.
std::size_t Lexer::EndOfNumber() const {
    std::size_t end = position;
    while (end < text.size() && (IsLetter(text[end]) || IsDigit(text[end]) || text[end] == '.')) {
        const bool isExponent = (text[end] == 'e' || text[end] == 'E') && !text.substr(position).starts_with("0x");
        ++end;
        if (isExponent && end < text.size() && (text[end] == '+' || text[end] == '-'))
            ++end;
    }
    return end;
}

/// A name in backticks, or a text in quotes.
Token Lexer::Enclosed(Token::Kind kind, const char* remedy) {
    const std::size_t end = text.find(text[position], position + 1);
    const bool isName = kind == Token::Kind::QuotedName;
    if (end == std::string_view::npos)
        formula->Refuse(position, isName ? "this backtick has no partner" : "this quote has no partner", remedy);
    if (isName && end == position + 1)
        formula->Refuse(position, "this name is empty", "give the channel a name; an input may have another column");
    Token token = Take(kind, end + 1);
    token.text = token.text.substr(1, token.text.size() - 2);
    return token;
}

void Lexer::Refuse(std::size_t at) const {
    std::size_t end = at + 1;
    while (end < text.size() && IsContinuation(text[end]))
        ++end;
    const auto* const foreign = std::find_if(std::begin(foreigners), std::end(foreigners), [&](const Foreign& other) {
        return text.substr(at).starts_with(other.text);
    });
    const bool isKnown = foreign != std::end(foreigners);
    if (isKnown)
        end = at + foreign->text.size();
    formula->Refuse(at, "a formula has no " + Shortened(text.substr(at, end - at)),
                    isKnown ? foreign->remedy : namesInBackticks);
}

} // namespace Vel::Engine
