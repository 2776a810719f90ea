/// Arrow structures in the capsules by which Python packages hand them to one another.
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

/// What Python data have to offer: a stream, or one batch as a stream. Throws a TypeError for other data.
OwnedStream StreamOfData(const nanobind::object& data);

/// A result as a stream, and kept tables as one.
OwnedStream StreamOf(std::shared_ptr<Replay> replay);
OwnedStream StreamOfTables(OwnedSchema schema, std::vector<SharedArray> tables);

/// Columns of NumPy as a stream of one table: name, format, the bits of the rows that have a value or None, and the
/// buffers of the values.
using ArrayColumn = std::tuple<std::string, std::string, nanobind::object, std::vector<nanobind::object>>;
nanobind::object StreamOfArrays(const std::vector<ArrayColumn>& columns, std::size_t rows);

/// An object that any thread may let go of.
std::shared_ptr<nanobind::object> Shared(nanobind::object object);

} // namespace VelPython
