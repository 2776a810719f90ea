/// Parses the text of a formula into a list of nodes.
///
///     speed    = "distance / time"
///     too_fast = "UpperLimit(speed, 10.0, hysteresis = 1.0)"
///     raw      = "Cast(counts) as Float64 * 0.5 + `Offset [V]`"
#pragma once

#include "engine/Engine.h"
#include "engine/FormulaText.h"
#include "vocabulary/Vocabulary.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Vel::Engine {

/// Whether a value may be an operand.
inline bool IsNumber(const Value& value) {
    return std::holds_alternative<std::int64_t>(value) || std::holds_alternative<std::uint64_t>(value) ||
           std::holds_alternative<double>(value);
}

/// A parameter, or a setting of the computation such as no_value_aware.
struct NamedArgument {
    std::string_view name;
    std::size_t position;
    Value value;
    std::string_view word = {}; ///< instead of a value: the name of a channel, or one of a few fixed words
};

/// A node of a formula. Names point into its text.
struct FormulaNode {
    enum class Kind { Name, Number, Call };

    Kind kind{};
    std::size_t begin = 0; ///< of its text, including brackets around it
    std::size_t end = 0;
    std::size_t caret = 0; ///< position of its operator or name
    std::string_view name; ///< of the channel, or of the operation
    std::string_view sign; ///< the operator, if it is one
    Value number;          ///< a number; settings become numbers, too
    std::vector<std::size_t> operands;
    std::vector<NamedArgument> arguments;
    char type = openType; ///< after "as"
    bool isBracketed = false;
};

/// Each node comes after its operands; the last one is the whole formula. Throws Error.
std::vector<FormulaNode> ParseFormula(const FormulaText& text, const ParametersByName& settings);

/// Whether a name is reserved in formulas, so that no channel may have it.
bool IsFormulaWord(std::string_view name);

} // namespace Vel::Engine
