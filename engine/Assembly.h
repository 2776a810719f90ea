/// Assembles a plan from its lines: checks names, finds an order of computation, and expands formulas.
#pragma once

#include "engine/Formula.h"

#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace Vel::Engine {

/// A block or a formula. Lists of them keep the order of the plan.
using PlanLine = std::variant<ComputationPlan, std::unique_ptr<Formula>>;

/// A default value that formulas and parameters refer to by name.
struct Setting {
    std::string name;
    std::string place;
};

/// Adds the computations to a plan that already has its inputs and constants. Throws Error for duplicate or unknown
/// names, for names that formulas could not use, for channels that depend on themselves, and for formulas whose types
/// do not fit.
void Assemble(Plan& plan, std::vector<PlanLine> lines, const std::vector<Setting>& settings);

} // namespace Vel::Engine
