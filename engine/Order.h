/// An order in which everything comes behind what it needs.
#pragma once

#include <cstddef>
#include <vector>

namespace Vel::Engine {

struct Order {
    std::vector<std::size_t> sequence;
    /// Things that need one another, each the next one and the last the first; empty if there is an order.
    std::vector<std::size_t> circle;
};

/// `needs` has for each thing the indices of those that it needs. Things that need nothing below them keep their order.
Order OrderOf(const std::vector<std::vector<std::size_t>>& needs);

} // namespace Vel::Engine
