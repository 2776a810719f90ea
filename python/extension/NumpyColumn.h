/// Columns of Arrow tables as NumPy arrays.
#pragma once

#include "Capsules.h"

#include <nanobind/nanobind.h>

#include <cstddef>
#include <vector>

namespace VelPython {

/// Rows of a column: its Arrow format, and its values as bytes, or as a list of texts; and bytes that are 1 where there
/// is no value, or None if there is one in each row. The format is empty for what NumPy does not have. `asIndices`: the
/// indices of a dictionary in the place of its values.
nanobind::tuple NumpyColumn(const ArrowSchema& schema, const std::vector<SharedArray>& tables, std::size_t column,
                            std::size_t begin, std::size_t end, bool asIndices);

} // namespace VelPython
