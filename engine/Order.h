/// Topological sort: each thing comes after those that it needs.
#pragma once

#include <cstddef>
#include <vector>

namespace Vel::Engine {

struct Order {
    std::vector<std::size_t> sequence;
    /// A cycle: each thing needs the next one, and the last needs the first. Empty if there is an order.
    std::vector<std::size_t> circle;
};

/// `needs` holds for each thing the indices of those that it needs. Things that need no later one keep their order.
Order OrderOf(const std::vector<std::vector<std::size_t>>& needs);

} // namespace Vel::Engine
