/// Turns a formula into computations.
#pragma once

#include "engine/FormulaSyntax.h"
#include "vocabulary/Quote.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Vel::Engine {

/// What formulas know about the plan's channels.
struct FormulaScope {
    /// The type letter of a channel; openType for an unknown name.
    std::function<char(std::string_view)> typeOf;
    /// A similar name, or an empty text.
    std::function<std::string(std::string_view)> similarTo;
    std::optional<double> samplePeriod; ///< seconds from row to row
};

/// The values of "when_refused"; the first is the default.
inline constexpr std::array<std::string_view, 2> whenRefused{"keep", "no_value"};

class Formula {
public:
    /// Parses the formula. `itsName` is the channel that it computes, `itsLine` its file and line. Throws Error with
    /// the formula and a caret.
    Formula(std::string itsName, const std::string& itsText, std::string itsLine, const ParametersByName& settings)
        : name(std::move(itsName)),
          line(std::move(itsLine)),
          text(itsText, PlaceOf(name)),
          nodes(ParseFormula(text, settings)) {}
    Formula(const Formula&) = delete; // the nodes point into the text
    Formula& operator=(const Formula&) = delete;
    ~Formula() = default;

    const std::string& Name() const { return name; }
    /// The place of a channel of this formula, for errors.
    std::string PlaceOf(const std::string& channel) const { return line + ": channel " + Quoted(channel); }

    /// The channels in the formula, with repetitions.
    std::vector<std::string_view> Operands() const;

    /// Finds the types and appends the computations of the formula. The last one computes the named channel. The others
    /// and the constants are inner ones: name#1, name#2, ... Throws Error if no operation accepts the types.
    void Expand(const FormulaScope& scope, std::vector<ConstantPlan>& constants,
                std::vector<ComputationPlan>& computations) const;

private:
    std::string name;
    std::string line;
    FormulaText text;
    std::vector<FormulaNode> nodes;
};

} // namespace Vel::Engine
