// gnuplot as a function: from a script to the picture.
#pragma once

#include <string>

namespace Velreplay {

bool IsGnuplotInstalled();

/// What gnuplot writes to its standard output for a script; nothing if it failed. Its messages go to standard error.
std::string RunGnuplot(const std::string& script);

} // namespace Velreplay
