#include "ArrowOperand.h"

#include "ArrowType.h"
#include "ArrowWriter.h"
#include "Capsules.h"
#include "NumpyColumn.h"
#include "Recording.h"

#include "vocabulary/Error.h"

#include <nanobind/ndarray.h>

#include <string>
#include <utility>
#include <vector>

namespace nb = nanobind;

namespace VelPython {

namespace {

constexpr const char* place = "column";

bool IsNumber(const ArrowType& type) {
    return type.bytes != 0 && (type.kind == ArrowType::Kind::Integer || type.kind == ArrowType::Kind::Floating);
}

/// The values of an array without a copy. They keep the array alive.
nb::object BytesOf(OwnedArray array, const ArrowType& type) {
    auto* const held = new OwnedArray(std::move(array));
    const nb::capsule owner(held, [](void* data) noexcept { delete static_cast<OwnedArray*>(data); });
    const auto* const first = static_cast<const std::uint8_t*>((*held)->buffers[1]);
    const auto bytes = static_cast<std::size_t>((*held)->length) * type.bytes;
    return nb::cast(nb::ndarray<nb::numpy, const std::uint8_t, nb::ndim<1>>(
        first + static_cast<std::size_t>((*held)->offset) * type.bytes, {bytes}, owner));
}

bool IsWhole(const OwnedArray& array) {
    return Validity(*array, array->offset).AreAll(0, static_cast<std::size_t>(array->length));
}

} // namespace

nb::typed<nb::tuple, nb::str, nb::object, nb::object> NumpyOperand(const nb::object& data) {
    OwnedStream stream = StreamOfData(data);
    const OwnedSchema schema = ReadSchema(stream);
    const ArrowType type = TypeOf(*schema);
    const ArrowType values = schema->dictionary != nullptr ? TypeOf(*schema->dictionary) : type;
    if (!IsNumber(values) && values.kind != ArrowType::Kind::Bool)
        throw Vel::Error(place, "holds " + values.name, "an operand is one column of numbers");
    std::vector<OwnedArray> arrays;
    for (OwnedArray array = ReadArray(stream); array; array = ReadArray(stream)) {
        CheckArray(*array, type, array->length, place);
        if (array->length != 0)
            arrays.push_back(std::move(array));
    }
    if (arrays.size() == 1 && schema->dictionary == nullptr && IsNumber(type) && IsWhole(arrays.front()))
        return nb::make_tuple(schema->format, BytesOf(std::move(arrays.front()), type), nb::none());
    std::vector<SharedArray> tables;
    std::size_t rows = 0;
    for (OwnedArray& array : arrays) {
        const auto length = static_cast<std::size_t>(array->length);
        std::vector<OwnedArray> columns;
        columns.push_back(std::move(array));
        tables.push_back(std::make_shared<const OwnedArray>(MakeTable(length, std::move(columns))));
        rows += length;
    }
    return NumpyColumn(*schema, tables, 0, 0, rows, false);
}

} // namespace VelPython
