#include "engine/FormulaSyntax.h"

#include "engine/Duration.h"
#include "engine/FormulaTokens.h"
#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>

namespace Vel::Engine {

namespace {

constexpr std::size_t longestFormula = 65536;
constexpr std::size_t deepestFormula = 100;

struct BinaryOperator {
    enum class Group { Arithmetic, Bits, Comparison, Logic };

    std::string_view sign;
    std::string_view operation;
    int rank; ///< a higher one binds more tightly
    Group group;
};
/// Precedence as in C, but all comparisons have the same rank, as they do not chain.
constexpr BinaryOperator binaryOperators[] = {
    {"||", "LogicalOr", 1, BinaryOperator::Group::Logic},
    {"&&", "LogicalAnd", 2, BinaryOperator::Group::Logic},
    {"|", "BitwiseOr", 3, BinaryOperator::Group::Bits},
    {"&", "BitwiseAnd", 4, BinaryOperator::Group::Bits},
    {"==", "Equal", 5, BinaryOperator::Group::Comparison},
    {"!=", "Unequal", 5, BinaryOperator::Group::Comparison},
    {"<", "LessThan", 5, BinaryOperator::Group::Comparison},
    {"<=", "LessThanOrEqual", 5, BinaryOperator::Group::Comparison},
    {">", "GreaterThan", 5, BinaryOperator::Group::Comparison},
    {">=", "GreaterThanOrEqual", 5, BinaryOperator::Group::Comparison},
    {"<<", "BitwiseShiftLeft", 6, BinaryOperator::Group::Bits},
    {">>", "BitwiseShiftRight", 6, BinaryOperator::Group::Bits},
    {"+", "Plus", 7, BinaryOperator::Group::Arithmetic},
    {"-", "Minus", 7, BinaryOperator::Group::Arithmetic},
    {"*", "Multiply", 8, BinaryOperator::Group::Arithmetic},
    {"/", "Divide", 8, BinaryOperator::Group::Arithmetic},
    {"%", "Modulo", 8, BinaryOperator::Group::Arithmetic},
};

const BinaryOperator* FindBinary(std::string_view sign) {
    for (const BinaryOperator& binary : binaryOperators)
        if (binary.sign == sign)
            return &binary;
    return nullptr;
}

/// Negates a number. Empty if no type can hold the result.
std::optional<Value> Opposite(const Value& value) {
    constexpr std::uint64_t lowest = std::uint64_t{1} << 63;
    if (const auto* whole = std::get_if<std::int64_t>(&value)) {
        if (*whole == std::numeric_limits<std::int64_t>::min())
            return lowest;
        return -*whole;
    }
    if (const auto* whole = std::get_if<std::uint64_t>(&value))
        return *whole == lowest ? std::optional<Value>(std::numeric_limits<std::int64_t>::min()) : std::nullopt;
    if (const auto* number = std::get_if<double>(&value))
        return -*number;
    return std::nullopt;
}

/// A recursive descent parser with operator precedence. It recurses no deeper than deepestFormula.
class Parser {
public:
    Parser(const FormulaText& itsText, const ParametersByName& itsSettings)
        : formula(itsText), settings(itsSettings), lexer(itsText) {}

    std::vector<FormulaNode> Run() && {
        const std::string_view text = formula.Text();
        if (text.size() > longestFormula)
            throw Error(formula.Place(),
                        "the formula has " + std::to_string(text.size()) + " characters; " +
                            std::to_string(longestFormula) + " are the most",
                        "compute parts of it as channels of their own");
        Advance();
        if (token.kind == Token::Kind::End)
            throw Error(formula.Place(), "the formula is empty", R"(write, for example: speed = "distance / time")");
        ParseExpression(0);
        if (token.kind != Token::Kind::End)
            RefuseBehindOperand();
        return std::move(nodes);
    }

private:
    void Advance() { token = lexer.Next(); }
    bool IsSign(std::string_view sign) const { return token.kind == Token::Kind::Sign && token.text == sign; }
    bool IsWord(std::string_view word) const { return token.kind == Token::Kind::Name && token.text == word; }

    void Expect(std::string_view sign, const char* remedy) {
        if (!IsSign(sign))
            formula.Refuse(token.begin, Quoted(sign) + " is missing here", remedy);
        Advance();
    }

    /// Reports that no operator follows an operand.
    [[noreturn]] void RefuseBehindOperand() const {
        if (IsWord("as"))
            formula.Refuse(token.begin, "\"as\" stands behind a call alone",
                           "write Cast(...) as Float64 to convert, or the operator as a call: Plus(a, b) as Float64");
        if (IsSign(")"))
            formula.Refuse(token.begin, "this bracket closes nothing", "remove it, or open it before");
        std::string remedy = "write + - * / % < <= > >= == != && || & | << or >>; " + std::string(namesInBackticks);
        if (IsSign("["))
            remedy = namesInBackticks;
        else if (IsSign("(") && nodes.back().kind == FormulaNode::Kind::Number)
            remedy = "write * to multiply";
        else if (const char* const foreign = RemedyForForeign(token.text))
            remedy = foreign;
        formula.Refuse(token.begin, "an operator is missing before this", remedy);
    }

    /// Returns the index of the whole expression in `nodes`, which is the last node.
    std::size_t ParseExpression(int leastRank) {
        std::size_t left = ParseUnary();
        while (token.kind == Token::Kind::Sign) {
            const BinaryOperator* const binary = FindBinary(token.text);
            if (binary == nullptr || binary->rank < leastRank)
                break;
            const Token sign = token;
            Advance();
            const std::size_t right = ParseExpression(binary->rank + 1);
            left = Combine(*binary, sign, left, right);
        }
        return left;
    }

    std::size_t Combine(const BinaryOperator& binary, const Token& sign, std::size_t left, std::size_t right) {
        using Group = BinaryOperator::Group;
        for (const std::size_t side : {left, right}) {
            const BinaryOperator* const inner = nodes[side].isBracketed ? nullptr : FindBinary(nodes[side].sign);
            if (inner == nullptr || nodes[side].operands.size() != 2)
                continue;
            if (binary.group == Group::Comparison && inner->group == Group::Comparison)
                formula.Refuse(sign.begin, "comparisons do not chain",
                               "write a < b && b < c, or put one comparison in brackets");
            if ((binary.group == Group::Comparison && inner->group == Group::Bits) ||
                (binary.group == Group::Bits && inner->group == Group::Comparison))
                formula.Refuse(sign.begin,
                               std::string(inner->sign) + " and " + std::string(binary.sign) +
                                   " need brackets between them",
                               "write (a & b) == c, or a & (b == c)");
        }
        FormulaNode node;
        node.kind = FormulaNode::Kind::Call;
        node.begin = nodes[left].begin;
        node.end = nodes[right].end;
        node.caret = sign.begin;
        node.name = binary.operation;
        node.sign = sign.text;
        node.operands = {left, right};
        return Add(std::move(node));
    }

    std::size_t Add(FormulaNode node) {
        nodes.push_back(std::move(node));
        return nodes.size() - 1;
    }

    /// Counts the depth of the formula while it lives.
    class Level {
    public:
        explicit Level(Parser& itsParser) : parser(itsParser) {
            if (++parser.depth > deepestFormula)
                parser.formula.Refuse(parser.token.begin,
                                      "brackets and calls stand more than " + std::to_string(deepestFormula) +
                                          " deep in one another",
                                      "compute a part of the formula as a channel of its own");
        }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;
        ~Level() { --parser.depth; }

    private:
        Parser& parser;
    };

    std::size_t ParseUnary() {
        const Level level(*this);
        if (IsSign("+"))
            formula.Refuse(token.begin, "a formula has no plus before an operand", "leave it out");
        if (!IsSign("-") && !IsSign("!"))
            return ParsePrimary();
        const Token sign = token;
        Advance();
        const std::size_t operand = ParseUnary();
        if (nodes[operand].kind == FormulaNode::Kind::Number && sign.text == "-") {
            nodes[operand].begin = sign.begin;
            nodes[operand].number = OppositeOf(nodes[operand].number, sign.begin);
            return operand;
        }
        FormulaNode node;
        node.kind = FormulaNode::Kind::Call;
        node.begin = node.caret = sign.begin;
        node.end = nodes[operand].end;
        node.name = sign.text == "-" ? "Negate" : "LogicalNot";
        node.sign = sign.text;
        node.operands = {operand};
        return Add(std::move(node));
    }

    Value OppositeOf(const Value& value, std::size_t position) const {
        if (const auto opposite = Opposite(value))
            return *opposite;
        formula.Refuse(position, "there is no type with this number", "");
    }

    std::size_t ParsePrimary() {
        const Token first = token;
        FormulaNode node;
        node.begin = node.caret = first.begin;
        node.end = first.end;
        switch (first.kind) {
        case Token::Kind::Number:
            node.kind = FormulaNode::Kind::Number;
            node.number = ReadNumber();
            return Add(std::move(node));
        case Token::Kind::QuotedName:
        case Token::Kind::Name:
            Advance();
            node.name = first.text;
            if (first.kind == Token::Kind::Name && IsSign("("))
                return ParseCall(std::move(node));
            return AddName(std::move(node), first);
        case Token::Kind::Text:
            formula.Refuse(first.begin, "a formula has no texts in quotes but durations, as values of parameters",
                           "a channel stands there by its name alone, or in backticks: `Temp [V]`");
        case Token::Kind::Sign:
            if (IsSign("("))
                return ParseBrackets();
            break;
        case Token::Kind::End:
            break;
        }
        const char* const remedy = RemedyForForeign(first.text);
        formula.Refuse(first.begin,
                       first.kind == Token::Kind::End ? "the formula ends where an operand should follow"
                                                      : "an operand is missing before this",
                       remedy != nullptr ? remedy : "write a channel, a number, a call or a bracket");
    }

    std::size_t ParseBrackets() {
        const std::size_t begin = token.begin;
        Advance();
        const std::size_t inner = ParseExpression(0);
        const std::size_t end = token.end;
        if (!IsSign(")") && token.kind != Token::Kind::End)
            RefuseBehindOperand();
        if (!IsSign(")"))
            formula.Refuse(begin, "this bracket is not closed", "add the ) that is missing");
        Advance();
        nodes[inner].begin = begin;
        nodes[inner].end = end;
        nodes[inner].isBracketed = true;
        return inner;
    }

    /// A channel or a setting.
    std::size_t AddName(FormulaNode node, const Token& name) {
        if (name.kind == Token::Kind::Name && IsFormulaWord(name.text))
            RefuseWord(name);
        const auto setting = settings.find(name.text);
        if (setting == settings.end()) {
            node.kind = FormulaNode::Kind::Name;
            return Add(std::move(node));
        }
        if (!IsNumber(setting->second))
            formula.Refuse(name.begin, "the setting " + Quoted(name.text) + " is no number",
                           "flags, lists and durations are values of parameters");
        node.kind = FormulaNode::Kind::Number;
        node.number = setting->second;
        return Add(std::move(node));
    }

    [[noreturn]] void RefuseWord(const Token& word) const {
        if (!FindOperations(word.text).empty())
            formula.Refuse(word.begin, std::string(word.text) + " is an operation, not a channel",
                           "write its operands: " + std::string(word.text) + "(...)");
        formula.Refuse(word.begin, Quoted(word.text) + " is no operand",
                       word.text == "NoValue" ? "a [[constants]] without value is a channel that never has a sample; "
                                                "Valid and IsNoValue tell whether there is one"
                       : FindType(word.text)  ? "a type stands behind \"as\": Cast(a) as " + std::string(word.text)
                                              : "write a channel or a number; truth is 1 or 0");
    }

    std::size_t ParseCall(FormulaNode node) {
        node.kind = FormulaNode::Kind::Call;
        if (FindOperations(node.name).empty()) {
            const std::string_view similar = SimilarOperation(node.name);
            formula.Refuse(node.begin, "unknown operation " + Quoted(node.name),
                           (similar.empty() ? "" : "did you mean \"" + std::string(similar) + "\"? ") +
                               std::string("velreplay --operations lists all"));
        }
        Advance();
        while (!IsSign(")")) {
            ParseArgument(node);
            if (IsSign(")"))
                break;
            if (token.kind == Token::Kind::End)
                formula.Refuse(node.begin, "the brackets of this call are not closed", "add the ) that is missing");
            if (!IsSign(",") && !node.arguments.empty())
                formula.Refuse(token.begin, "a comma is missing before this",
                               "the value of a parameter is one number, flag, list or setting");
            if (!IsSign(","))
                RefuseBehindOperand();
            Advance();
            if (IsSign(")"))
                formula.Refuse(token.begin, "an operand is missing before this", "remove the comma, or go on");
        }
        node.end = token.end;
        Advance();
        if (IsWord("as"))
            ParseType(node);
        return Add(std::move(node));
    }

    void ParseType(FormulaNode& node) {
        Advance();
        const auto type = token.kind == Token::Kind::Name ? FindType(token.text) : std::nullopt;
        if (!type)
            formula.Refuse(token.begin, "a type is missing behind \"as\"", "the types are " + TypeNames());
        node.type = type->letter;
        node.end = token.end;
        Advance();
    }

    void ParseArgument(FormulaNode& node) {
        if (token.kind == Token::Kind::Name) {
            const Lexer before = lexer;
            const Token name = token;
            Advance();
            if (IsSign("=")) {
                Advance();
                ParseNamed(node, name);
                return;
            }
            lexer = before;
            token = name;
        }
        if (!node.arguments.empty())
            formula.Refuse(token.begin, "this operand stands behind a parameter",
                           "write all operands first, then the parameters by name");
        const std::size_t operand = ParseExpression(0);
        node.operands.push_back(operand);
    }

    void ParseNamed(FormulaNode& node, const Token& name) {
        for (const NamedArgument& other : node.arguments)
            if (other.name == name.text)
                formula.Refuse(name.begin, Quoted(name.text) + " is given twice", "keep one of them");
        const bool isChannel = name.text == "reset_when" || name.text == "reset_on_change";
        if (isChannel || name.text == "when_refused")
            node.arguments.push_back({name.text, name.begin, {}, ParseWord(name.text, isChannel)});
        else
            node.arguments.push_back({name.text, name.begin, ParseValue(name.text)});
    }

    /// The name of a channel, or a word, which may be in quotes.
    std::string_view ParseWord(std::string_view name, bool isChannel) {
        const Token word = token;
        if (word.kind != Token::Kind::Name && word.kind != (isChannel ? Token::Kind::QuotedName : Token::Kind::Text))
            formula.Refuse(word.begin, "the value of " + Quoted(name) + " is missing here",
                           isChannel ? "write the name of a channel; a condition is a channel of its own"
                                     : "write when_refused = no_value");
        Advance();
        return word.text;
    }

    /// The value of a parameter.
    Value ParseValue(std::string_view name) {
        if (IsSign("["))
            return ParsePairs();
        if (IsWord("true") || IsWord("false")) {
            const bool isTrue = IsWord("true");
            Advance();
            return isTrue;
        }
        const bool isNegative = IsSign("-");
        const std::size_t position = token.begin;
        if (isNegative)
            Advance();
        Value value;
        if (token.kind == Token::Kind::Number)
            value = ReadNumber();
        else if (token.kind == Token::Kind::Name || token.kind == Token::Kind::QuotedName)
            value = SettingNamed();
        else if (token.kind == Token::Kind::Text && !isNegative)
            value = ReadDuration();
        else
            formula.Refuse(token.begin, "the value of " + Quoted(name) + " is missing here",
                           "write a number, true, false, a list of pairs, a duration or the name of a setting");
        return isNegative ? OppositeOf(value, position) : value;
    }

    /// "10 s"
    Duration ReadDuration() {
        auto duration = Engine::ParseDuration(token.text);
        if (!duration)
            formula.Refuse(token.begin, Quoted(token.text) + " is no duration", durationHint);
        Advance();
        return std::move(*duration);
    }

    Value SettingNamed() {
        const auto setting = settings.find(token.text);
        if (setting == settings.end())
            formula.Refuse(token.begin, "there is no setting " + Quoted(token.text),
                           "the value of a parameter is a number, true, false, a list of pairs, a duration or a name "
                           "from [settings]");
        Advance();
        return setting->second;
    }

    /// [[0, 1], [2, 3]]
    Value ParsePairs() {
        constexpr const char* remedy = "write pairs: [[0.0, 1.0], [2.5, 3.0]]";
        std::vector<std::array<double, 2>> pairs;
        do {
            Advance();
            Expect("[", remedy);
            const double x = ParseNumberOfPair();
            Expect(",", remedy);
            const double y = ParseNumberOfPair();
            Expect("]", remedy);
            pairs.push_back({x, y});
        } while (IsSign(","));
        Expect("]", remedy);
        return pairs;
    }

    double ParseNumberOfPair() {
        const std::size_t position = token.begin;
        if (IsSign("["))
            formula.Refuse(position, "this is no number", "write pairs: [[0.0, 1.0], [2.5, 3.0]]");
        const Value value = ParseValue("a pair");
        if (const auto* whole = std::get_if<std::int64_t>(&value))
            return static_cast<double>(*whole);
        if (const auto* whole = std::get_if<std::uint64_t>(&value))
            return static_cast<double>(*whole);
        if (const auto* number = std::get_if<double>(&value))
            return *number;
        formula.Refuse(position, "this is no number", "write pairs: [[0.0, 1.0], [2.5, 3.0]]");
    }

    /// Converts the token to a number.
    Value ReadNumber() {
        const Token read = token;
        Advance();
        std::string_view digits = read.text;
        const bool isHexadecimal = digits.starts_with("0x");
        const bool isBinary = digits.starts_with("0b");
        if (isHexadecimal || isBinary)
            digits.remove_prefix(2);
        const char* const end = digits.data() + digits.size();
        std::uint64_t whole = 0;
        const auto [stop, error] = std::from_chars(digits.data(), end, whole, isHexadecimal ? 16 : isBinary ? 2 : 10);
        if (error == std::errc() && stop == end)
            return std::in_range<std::int64_t>(whole) ? Value(static_cast<std::int64_t>(whole)) : Value(whole);
        if (isHexadecimal || isBinary)
            formula.Refuse(read.begin, "this is no whole number of up to 64 bits", "write 0x1F or 0b101");
        return ReadFloating(read);
    }

    double ReadFloating(const Token& read) const {
        const std::string_view digits = read.text;
        double number = 0;
        const char* const end = digits.data() + digits.size();
        const auto [stop, error] = std::from_chars(digits.data(), end, number);
        if (stop == end && error == std::errc::result_out_of_range)
            formula.Refuse(read.begin, "this number is too large or too small for Float64", "write a nearer one");
        if (stop != end || digits.back() == '.')
            formula.Refuse(read.begin, "this is no number",
                           "write 12, 1.5, 1e-3, 0x1F or 0b101; a product as 2 * a; a name that begins with a digit "
                           "stands in backticks");
        const bool isWhole = digits.find_first_not_of("0123456789") == std::string_view::npos;
        if (isWhole && !IsExactly(number, digits))
            formula.Refuse(read.begin, "no type holds this number exactly", "write it with an exponent: 1e20");
        return number;
    }

    static bool IsExactly(double number, std::string_view digits) {
        std::array<char, 400> exact{};
        const auto end = std::to_chars(exact.data(), exact.data() + exact.size(), number, std::chars_format::fixed).ptr;
        digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
        return std::string_view(exact.data(), end) == digits;
    }

    const FormulaText& formula;
    const ParametersByName& settings;
    Lexer lexer;
    Token token;
    std::size_t depth = 0;
    std::vector<FormulaNode> nodes;
};

} // namespace

std::vector<FormulaNode> ParseFormula(const FormulaText& text, const ParametersByName& settings) {
    return Parser(text, settings).Run();
}

bool IsFormulaWord(std::string_view name) {
    constexpr std::array<std::string_view, 4> words{"as", "true", "false", "NoValue"};
    return std::find(words.begin(), words.end(), name) != words.end() || FindType(name) ||
           !FindOperations(name).empty();
}

} // namespace Vel::Engine
