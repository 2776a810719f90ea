#include "Module.h"

#include "Errors.h"

#include <nanobind/nanobind.h>

NB_MODULE(_core, module) {
#ifdef NDEBUG
    nanobind::set_leak_warnings(false); // an exception that ends the interpreter keeps objects alive
#endif
    module.doc() = "The engine and the library. What users call is in veloperation itself.";
    module.attr("__version__") = VEL_VERSION;
    VelPython::AddErrors(module);
    VelPython::AddOperations(module);
    VelPython::AddPlans(module);
    VelPython::AddFiles(module);
}
