/// The lines of a plan put together: one name space, an order, and what formulas stand for.
#pragma once

#include "engine/Formula.h"

#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace Vel::Engine {

/// A block, or a formula. In the order in which they stand in the plan.
using PlanLine = std::variant<ComputationPlan, std::unique_ptr<Formula>>;

/// A default that formulas and parameters use by its name.
struct Setting {
    std::string name;
    std::string place;
};

/// Puts the computations into a plan that has its inputs and constants. Throws Error for names that are there twice,
/// that formulas could not use, or that nobody has, for channels that are computed from themselves, and for formulas
/// whose types do not fit.
void Assemble(Plan& plan, std::vector<PlanLine> lines, const std::vector<Setting>& settings);

} // namespace Vel::Engine
