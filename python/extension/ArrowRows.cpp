#include "ArrowRows.h"

#include "vocabulary/Error.h"
#include "vocabulary/Quote.h"

#include <cstring>

namespace VelPython {

namespace {

using Kind = ArrowType::Kind;

template <class T>
T ValueAt(const void* buffer, std::size_t row) {
    T value;
    std::memcpy(&value, static_cast<const std::byte*>(buffer) + row * sizeof(T), sizeof(T));
    return value;
}

void SetBit(Buffer& bits, std::size_t bit, bool isSet) {
    if (bit / 8 >= bits.Size()) {
        const std::byte none{0};
        bits.Append(&none, 1);
    }
    if (isSet)
        bits.Data()[bit / 8] |= static_cast<std::byte>(1U << (bit % 8));
}

} // namespace

ArrowRows::ArrowRows(const ArrowSchema& schema, std::string itsName)
    : name(std::move(itsName)), isDictionary(schema.dictionary != nullptr) {
    if (isDictionary)
        indexType = TypeOf(schema);
    const ArrowSchema& valueSchema = isDictionary ? *schema.dictionary : schema;
    type = TypeOf(valueSchema);
    if (type.kind == Kind::Other || valueSchema.dictionary != nullptr)
        throw Vel::Error("column " + Vel::Quoted(name),
                         "the plan chooses rows, and those of the type " + type.name + " cannot be taken one by one",
                         "leave the column out of the result, or convert it");
    format = type.kind == Kind::Text || type.kind == Kind::View ? (type.isBinary ? "Z" : "U") : valueSchema.format;
}

void ArrowRows::Check(const ArrowArray& array, std::int64_t length) const {
    CheckArray(array, isDictionary ? indexType : type, length, name);
    if (!isDictionary)
        return;
    if (array.dictionary == nullptr)
        throw Vel::Error("column " + Vel::Quoted(name), "the Arrow array lacks its dictionary",
                         "its producer breaks the Arrow C data interface");
    CheckArray(*array.dictionary, type, 0, name);
}

void ArrowRows::Append(const ArrowArray& array, std::int64_t row) {
    const auto inBuffer = static_cast<std::size_t>(array.offset + row);
    if (type.kind == Kind::Null || !Validity(array, 0)[inBuffer])
        return AppendNull();
    if (!isDictionary)
        return AppendValue(array, inBuffer);
    const ArrowArray& dictionary = *array.dictionary;
    const std::int64_t index = IntegerAt(array.buffers[1], inBuffer, indexType);
    if (index < 0 || index >= dictionary.length)
        throw Vel::Error("column " + Vel::Quoted(name), "an index lies outside of the dictionary",
                         "its producer breaks the Arrow C data interface");
    const auto entry = static_cast<std::size_t>(dictionary.offset + index);
    if (!Validity(dictionary, 0)[entry])
        return AppendNull();
    AppendValue(dictionary, entry);
}

void ArrowRows::AppendValue(const ArrowArray& array, std::size_t row) {
    const void* const buffer = array.buffers[1];
    const auto text = [&](std::int64_t begin, std::int64_t end) {
        AppendText(static_cast<const std::byte*>(array.buffers[2]) + begin, static_cast<std::size_t>(end - begin));
    };
    switch (type.kind) {
    case Kind::Bool:
        SetBit(values, rows, BitAt(static_cast<const std::uint8_t*>(buffer), row));
        break;
    case Kind::Text:
        if (type.bytes == sizeof(std::int32_t))
            text(ValueAt<std::int32_t>(buffer, row), ValueAt<std::int32_t>(buffer, row + 1));
        else
            text(ValueAt<std::int64_t>(buffer, row), ValueAt<std::int64_t>(buffer, row + 1));
        break;
    case Kind::View: {
        const auto view = ValueAt<std::array<std::int32_t, 4>>(buffer, row); // length, prefix, buffer, offset
        constexpr std::int32_t longestInView = 12;
        const auto* const data = view[0] <= longestInView
                                     ? static_cast<const std::byte*>(buffer) + row * sizeof view + sizeof(std::int32_t)
                                     : static_cast<const std::byte*>(array.buffers[2 + view[2]]) + view[3];
        AppendText(data, static_cast<std::size_t>(view[0]));
        break;
    }
    default:
        values.Append(static_cast<const std::byte*>(buffer) + row * type.bytes, type.bytes);
        break;
    }
    SetBit(validity, rows++, true);
}

void ArrowRows::AppendText(const void* text, std::size_t bytes) {
    const std::int64_t none = 0;
    if (values.Size() == 0)
        values.Append(&none, sizeof none);
    texts.Append(text, bytes);
    const auto end = static_cast<std::int64_t>(texts.Size());
    values.Append(&end, sizeof end);
}

void ArrowRows::AppendNull() {
    if (type.kind == Kind::Bool)
        SetBit(values, rows, false);
    else if (type.kind == Kind::Text || type.kind == Kind::View)
        AppendText(nullptr, 0);
    else {
        values.Resize(values.Size() + type.bytes);
        if (type.bytes != 0)
            std::memset(values.Data() + values.Size() - type.bytes, 0, type.bytes);
    }
    SetBit(validity, rows++, false);
    ++nulls;
}

OwnedArray ArrowRows::Finish() {
    std::vector<Buffer> buffers;
    if (type.kind != Kind::Null) {
        if (rows == 0 && (type.kind == Kind::Text || type.kind == Kind::View))
            AppendText(nullptr, 0);
        if (values.Data() == nullptr)
            values.Resize(0);
        buffers.push_back(std::move(validity));
        buffers.push_back(std::move(values));
        if (type.kind == Kind::Text || type.kind == Kind::View) {
            if (texts.Data() == nullptr)
                texts.Resize(0);
            buffers.push_back(std::move(texts));
        }
    }
    validity = Buffer();
    values = Buffer();
    texts = Buffer();
    return MakeArray(std::exchange(rows, 0), std::exchange(nulls, 0), std::move(buffers));
}

} // namespace VelPython
