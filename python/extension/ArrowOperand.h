/// Single Arrow columns as NumPy arrays, for operations.
#pragma once

#include <nanobind/nanobind.h>

namespace VelPython {

/// A column with Arrow's interface: its Arrow format, its values as bytes, and bytes that are 1 where there is no
/// value, or None if there is one in each row. Values in one piece without gaps are not copied. Throws Vel::Error for
/// tables, and for values that are no numbers.
nanobind::typed<nanobind::tuple, nanobind::str, nanobind::object, nanobind::object>
NumpyOperand(const nanobind::object& data);

} // namespace VelPython
