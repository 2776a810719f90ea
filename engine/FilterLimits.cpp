#include "engine/FilterLimits.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Vel::Engine {

namespace {

/// The least product of the distances from one pole to the others, in radians, divided by the largest coefficient.
/// Found by trying all orders at many corners: just above this limit, results are off by a few parts in a thousand at
/// most; just below it, they may grow without bound.
constexpr double leastProduct = 5e-13;

/// The largest coefficient of a polynomial whose roots lie together on the unit circle: the middle binomial one.
double LargestCoefficient(double roots) {
    const double middle = std::floor(roots / 2);
    return std::tgamma(roots + 1) / std::tgamma(middle + 1) / std::tgamma(roots - middle + 1);
}

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
        return std::pow(std::min(first, pi - first), order) >= leastProduct * LargestCoefficient(order);
    const double second = 2 * pi * NumberIn(parameters, "corner2") / rate;
    const double toMirror = std::min({1.0, 2 * first, 2 * (pi - second)}); // distance to the conjugate poles
    return std::pow((second - first) * toMirror, order) >= leastProduct * LargestCoefficient(2 * order);
}

} // namespace Vel::Engine
