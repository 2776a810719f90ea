/// A formula as the computations that it stands for.
#pragma once

#include "engine/FormulaSyntax.h"
#include "vocabulary/Quote.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Vel::Engine {

/// What formulas know of the plan's channels.
struct FormulaScope {
    /// The type's letter of a channel; openType for a name that there is not.
    std::function<char(std::string_view)> typeOf;
    /// A name that looks like this one, or an empty text.
    std::function<std::string(std::string_view)> similarTo;
    std::optional<double> samplePeriod; ///< seconds from row to row
};

/// What "when_refused" may be; the first is what it is otherwise.
inline constexpr std::array<std::string_view, 2> whenRefused{"keep", "no_value"};

class Formula {
public:
    /// Parses. `itsName` is the channel that the formula computes, `itsLine` its file and line. Throws Error with the
    /// formula and a caret.
    Formula(std::string itsName, const std::string& itsText, std::string itsLine, const ParametersByName& settings)
        : name(std::move(itsName)),
          line(std::move(itsLine)),
          text(itsText, PlaceOf(name)),
          nodes(ParseFormula(text, settings)) {}
    Formula(const Formula&) = delete; // the nodes point into the text
    Formula& operator=(const Formula&) = delete;
    ~Formula() = default;

    const std::string& Name() const { return name; }
    /// Where a channel of this formula is, for errors.
    std::string PlaceOf(const std::string& channel) const { return line + ": channel " + Quoted(channel); }

    /// The channels in it, each as often as it is there.
    std::vector<std::string_view> Operands() const;

    /// Finds the types and appends what the formula stands for. The last computation is that of the named channel; the
    /// others, and the constants, are inner ones: name#1, name#2, ... Throws Error where no row fits.
    void Expand(const FormulaScope& scope, std::vector<ConstantPlan>& constants,
                std::vector<ComputationPlan>& computations) const;

private:
    std::string name;
    std::string line;
    FormulaText text;
    std::vector<FormulaNode> nodes;
};

} // namespace Vel::Engine
