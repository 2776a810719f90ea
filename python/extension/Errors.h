/// Errors in Python.
#pragma once

#include "vocabulary/Error.h"

#include <nanobind/nanobind.h>

namespace VelPython {

/// Adds the exception veloperation.Error, to which Vel::Error is translated.
void AddErrors(nanobind::module_& module);

} // namespace VelPython
