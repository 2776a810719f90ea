#include "Errors.h"

#include <string>

namespace VelPython {

void AddErrors(nanobind::module_& module) {
    nanobind::exception<Vel::Error> error(module, "Error", PyExc_ValueError);
    error.attr("__module__") = "veloperation";
    error.attr("__doc__") = R"(What is wrong with a plan, an operation or samples: where, what, and what to do about it.

Examples
--------
>>> import veloperation as vel
>>> try:
...     vel.Operation("Maximum", "DD")
... except vel.Error as error:
...     print(error)
Maximum DD: unknown operation "Maximum"
  veloperation.operations() lists all
)";
}

} // namespace VelPython
