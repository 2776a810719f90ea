/// Converts columns of Arrow tables to NumPy arrays.
#pragma once

#include "Capsules.h"

#include <nanobind/nanobind.h>

#include <cstddef>
#include <vector>

namespace VelPython {

/// Rows of a column: its Arrow format, its values as bytes or as a list of texts, and a mask of bytes that are 1 where
/// a value is missing, or None if none is missing. The format is empty for types that NumPy lacks. `asIndices`: return
/// a dictionary's indices instead of its values.
nanobind::tuple NumpyColumn(const ArrowSchema& schema, const std::vector<SharedArray>& tables, std::size_t column,
                            std::size_t begin, std::size_t end, bool asIndices);

} // namespace VelPython
