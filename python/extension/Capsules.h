/// Arrow structures in capsules, as Python packages exchange them.
#pragma once

#include "ArrowAbi.h"
#include "Replay.h"

#include <nanobind/nanobind.h>

#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace VelPython {

using SharedArray = std::shared_ptr<const OwnedArray>;

nanobind::object SchemaCapsule(OwnedSchema schema);
nanobind::object StreamCapsule(OwnedStream stream);

/// The stream of a Python object, or its one batch as a stream. Throws a TypeError for objects without either.
OwnedStream StreamOfData(const nanobind::object& data);

/// A stream of a result or of stored tables.
OwnedStream StreamOf(std::shared_ptr<Replay> replay);
OwnedStream StreamOfTables(OwnedSchema schema, std::vector<SharedArray> tables);

/// NumPy columns as a stream of one table. Each has a name, a format, the validity bitmap or None, and the buffers of
/// the values.
using ArrayColumn = std::tuple<std::string, std::string, nanobind::object, std::vector<nanobind::object>>;
nanobind::object StreamOfArrays(const std::vector<ArrayColumn>& columns, std::size_t rows);

/// A shared reference that any thread may drop.
std::shared_ptr<nanobind::object> Shared(nanobind::object object);

} // namespace VelPython
