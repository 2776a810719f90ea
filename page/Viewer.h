/// The program in a page, made from page/viewer when this is built.
#pragma once

#include <string_view>

namespace Vel::Page {

/// HTML with a mark where the data go; empty if this was built without it.
std::string_view Viewer();
inline constexpr std::string_view dataMark = "<!--DATA-->";

} // namespace Vel::Page
