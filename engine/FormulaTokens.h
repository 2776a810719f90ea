/// Splits a formula into tokens.
#pragma once

#include "engine/FormulaText.h"

#include <cstddef>
#include <string_view>

namespace Vel::Engine {

struct Token {
    enum class Kind { End, Number, Name, QuotedName, Text, Sign };

    Kind kind = Kind::End;
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string_view text; ///< without backticks or quotes
};

/// Reads the tokens of a formula one by one. Throws Error for characters that no formula may have.
class Lexer {
public:
    explicit Lexer(const FormulaText& itsFormula) : formula(&itsFormula), text(itsFormula.Text()) {}

    Token Next();

private:
    Token Take(Token::Kind kind, std::size_t end);
    std::size_t EndOfName() const;
    std::size_t EndOfNumber() const;
    Token Enclosed(Token::Kind kind, const char* remedy);
    [[noreturn]] void Refuse(std::size_t at) const;

    const FormulaText* formula;
    std::string_view text;
    std::size_t position = 0;
};

/// What to write instead of an operator or a word of other languages; null for all others.
const char* RemedyForForeign(std::string_view sign);

extern const char* const namesInBackticks; ///< a remedy

} // namespace Vel::Engine
