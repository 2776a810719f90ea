#include "Module.h"

#include "Errors.h"

NB_MODULE(_core, module) {
    module.doc() = "The engine and the library. What users call is in veloperation itself.";
    module.attr("__version__") = VEL_VERSION;
    VelPython::AddErrors(module);
    VelPython::AddOperations(module);
    VelPython::AddPlans(module);
    VelPython::AddFiles(module);
}
