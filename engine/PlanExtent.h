// Limits on the size of a plan, so that parsing it is quick and does not overflow the stack.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Vel::Engine {

inline constexpr std::size_t mostPlanBytes = std::size_t{1} << 24;

/// Throws Error for a TOML text that is too long, or that nests tables or lists too deeply. The TOML library recurses
/// for each part of a dotted name, too.
void CheckExtent(std::string_view text, const std::string& name);

} // namespace Vel::Engine
