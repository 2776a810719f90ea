/// The parts of the extension module. Each adds its functions and classes.
#pragma once

#include <nanobind/nanobind.h>

namespace VelPython {

void AddOperations(nanobind::module_& module);
void AddPlans(nanobind::module_& module);
void AddFiles(nanobind::module_& module);

} // namespace VelPython
