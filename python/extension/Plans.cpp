#include "Module.h"

namespace VelPython {

void AddPlans(nanobind::module_& /*module*/) {}

} // namespace VelPython
