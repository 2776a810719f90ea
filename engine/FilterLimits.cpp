#include "engine/FilterLimits.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Vel::Engine {

namespace {

/// Of the product of the distances of a pole to the others, in radians. A hundred times the precision of a double is a
/// percent of it.
constexpr double leastProduct = 1e-11;

double NumberIn(const ParametersByName& parameters, std::string_view name) {
    const auto found = parameters.find(name);
    if (found == parameters.end())
        return 0;
    return std::visit(
        [](const auto& value) {
            if constexpr (std::is_arithmetic_v<std::decay_t<decltype(value)>>)
                return static_cast<double>(value);
            else
                return 0.0;
        },
        found->second);
}

} // namespace

bool IsComputable(const Operation& operation, const ParametersByName& parameters) {
    if (!operation.name.starts_with("FilterButterworth"))
        return true;
    constexpr double pi = std::numbers::pi;
    const double order = NumberIn(parameters, "order");
    const double rate = NumberIn(parameters, "sample_rate");
    const double first = 2 * pi * NumberIn(parameters, "corner1") / rate;
    if (!parameters.contains("corner2"))
        return std::pow(std::min(first, pi - first), order) >= leastProduct;
    const double second = 2 * pi * NumberIn(parameters, "corner2") / rate;
    const double middle = (first + second) / 2;
    const double toMirror = std::min({1.0, 2 * middle, 2 * (pi - middle)}); // of the conjugate poles
    return std::pow((second - first) * toMirror, order) >= leastProduct;
}

} // namespace Vel::Engine
