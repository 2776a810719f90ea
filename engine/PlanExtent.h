// How large a plan may be, so that reading it ends soon and within the stack.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Vel::Engine {

inline constexpr std::size_t mostPlanBytes = std::size_t{1} << 24;

/// Throws Error for a text in TOML that is too long, or nests tables or lists too deeply. The TOML library makes a
/// level of the stack of each part of a dotted name.
void CheckExtent(std::string_view text, const std::string& name);

} // namespace Vel::Engine
