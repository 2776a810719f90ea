#include "NumpyColumn.h"

#include "ArrowRows.h"
#include "ArrowType.h"

#include <nanobind/ndarray.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace nb = nanobind;

namespace VelPython {

namespace {

using Kind = ArrowType::Kind;
using Bytes = nb::ndarray<nb::numpy, std::uint8_t, nb::ndim<1>>;

Bytes NumpyBytes(Buffer buffer) {
    if (buffer.Data() == nullptr)
        buffer.Resize(0);
    auto* const held = new Buffer(std::move(buffer));
    const nb::capsule owner(held, [](void* bytes) noexcept { delete static_cast<Buffer*>(bytes); });
    return Bytes(held->Data(), {held->Size()}, owner);
}

bool HasBytes(const ArrowType& type) {
    return type.bytes != 0 &&
           (type.kind == Kind::Integer || type.kind == Kind::Floating || type.IsTime() || type.kind == Kind::Duration);
}

/// Calls a function with the part of each table between two rows: the column, its first row in the buffers, and the
/// number of rows.
template <class TFunction>
void ForEachPart(const std::vector<SharedArray>& tables, std::size_t column, std::size_t begin, std::size_t end,
                 TFunction function) {
    std::size_t before = 0;
    for (const SharedArray& table : tables) {
        const auto rows = static_cast<std::size_t>((*table)->length);
        const std::size_t first = std::clamp(begin, before, before + rows);
        const std::size_t last = std::clamp(end, before, before + rows);
        if (first < last)
            function(*(*table)->children[column], static_cast<std::int64_t>(first - before), last - first);
        before += rows;
    }
}

class Collected {
public:
    void Append(const ArrowArray& array, const ArrowType& type, std::int64_t first, std::size_t rows) {
        const auto inBuffer = static_cast<std::size_t>(array.offset + first);
        const auto* const bytes = static_cast<const std::byte*>(array.buffers[1]);
        if (type.kind == Kind::Bool)
            for (std::size_t row = inBuffer; row < inBuffer + rows; ++row) {
                const bool isSet = BitAt(static_cast<const std::uint8_t*>(array.buffers[1]), row);
                values.Append(&isSet, 1);
            }
        else
            values.Append(bytes + inBuffer * type.bytes, rows * type.bytes);
        const Validity validity(array, array.offset + first);
        const std::size_t old = missing.Size();
        missing.Resize(old + rows);
        const bool areAll = validity.AreAll(0, rows);
        hasMissing = hasMissing || !areAll;
        for (std::size_t row = 0; row < rows; ++row)
            missing.Data()[old + row] = std::byte{areAll || validity[row] ? std::uint8_t{0} : std::uint8_t{1}};
    }
    nb::tuple Finish(const char* format) {
        return nb::make_tuple(format, NumpyBytes(std::move(values)),
                              hasMissing ? nb::cast(NumpyBytes(std::move(missing))) : nb::none());
    }

private:
    Buffer values;
    Buffer missing;
    bool hasMissing = false;
};

nb::list TextsOf(const ArrowArray& array) {
    nb::list texts;
    const auto* const ends = static_cast<const std::int64_t*>(array.buffers[1]);
    const auto* const bytes = static_cast<const char*>(array.buffers[2]);
    const Validity validity(array, 0);
    for (std::size_t row = 0; row < static_cast<std::size_t>(array.length); ++row)
        if (validity[row])
            texts.append(nb::str(bytes + ends[row], static_cast<std::size_t>(ends[row + 1] - ends[row])));
        else
            texts.append(nb::none());
    return texts;
}

} // namespace

nb::tuple NumpyColumn(const ArrowSchema& schema, const std::vector<SharedArray>& tables, std::size_t column,
                      std::size_t begin, std::size_t end, bool asIndices) {
    const bool isDictionary = schema.dictionary != nullptr && !asIndices;
    const ArrowSchema& values = isDictionary ? *schema.dictionary : schema;
    const ArrowType type = TypeOf(values);
    Collected collected;
    if (!isDictionary && (HasBytes(type) || type.kind == Kind::Bool)) {
        ForEachPart(tables, column, begin, end, [&](const ArrowArray& array, std::int64_t first, std::size_t rows) {
            collected.Append(array, type, first, rows);
        });
        return collected.Finish(values.format);
    }
    const bool isText = (type.kind == Kind::Text || type.kind == Kind::View) && !type.isBinary;
    if (!isText && !HasBytes(type) && type.kind != Kind::Bool)
        return nb::make_tuple("", nb::none(), nb::none());
    ArrowRows rows(schema, schema.name);
    ForEachPart(tables, column, begin, end, [&](const ArrowArray& array, std::int64_t first, std::size_t count) {
        rows.Check(array, first + static_cast<std::int64_t>(count));
        for (std::int64_t row = first; row < first + static_cast<std::int64_t>(count); ++row)
            rows.Append(array, row);
    });
    const OwnedArray taken = rows.Finish();
    if (isText)
        return nb::make_tuple("U", TextsOf(*taken), nb::none());
    collected.Append(*taken, type, 0, static_cast<std::size_t>(taken->length));
    return collected.Finish(values.format);
}

} // namespace VelPython
