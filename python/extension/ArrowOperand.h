/// Converts single Arrow columns to NumPy arrays for operations.
#pragma once

#include <nanobind/nanobind.h>

namespace VelPython {

/// For an object with Arrow's interface: its Arrow format, its values as bytes, and a mask of bytes that are 1 where a
/// value is missing, or None if none is missing. Values in one chunk without gaps are not copied. Throws Vel::Error for
/// tables, and for values that are not numbers.
nanobind::typed<nanobind::tuple, nanobind::str, nanobind::object, nanobind::object>
NumpyOperand(const nanobind::object& data);

} // namespace VelPython
