/// The text of a formula as a list of what it is made of.
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
    std::string_view word = {}; ///< in the place of a value: the name of a channel, or what there is to choose from
};

/// A piece of a formula. Names point into its text.
struct FormulaNode {
    enum class Kind { Name, Number, Call };

    Kind kind{};
    std::size_t begin = 0; ///< of its text, with brackets around it
    std::size_t end = 0;
    std::size_t caret = 0; ///< its operator or its name
    std::string_view name; ///< of the channel, or of the operation
    std::string_view sign; ///< the operator, where it is one
    Value number;          ///< a number; settings are numbers, too
    std::vector<std::size_t> operands;
    std::vector<NamedArgument> arguments;
    char type = openType; ///< behind "as"
    bool isBracketed = false;
};

/// Each piece stands behind those that it is made of, the whole formula is the last. Throws Error.
std::vector<FormulaNode> ParseFormula(const FormulaText& text, const ParametersByName& settings);

/// Whether a name has a meaning of its own in formulas, so that no channel may have it.
bool IsFormulaWord(std::string_view name);

} // namespace Vel::Engine
