#include "Module.h"

#include "vocabulary/Vocabulary.h"

#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

namespace VelPython {

void AddOperations(nanobind::module_& module) {
    module.def("operation_names", [] {
        std::vector<std::string> names;
        for (const Vel::Operation& operation : Vel::AllOperations())
            names.emplace_back(operation.name);
        return names;
    });
}

} // namespace VelPython
