/// Errors, as Python sees them.
#pragma once

#include "vocabulary/Error.h"

#include <nanobind/nanobind.h>

namespace VelPython {

/// Makes the exception veloperation.Error, which stands for Vel::Error from now on.
void AddErrors(nanobind::module_& module);

} // namespace VelPython
