#include "ArrowWriter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <new>

namespace VelPython {

namespace {

/// The memory that our schemas point to.
struct SchemaContents {
    std::string format;
    std::string name;
    std::string metadata;
    std::vector<OwnedSchema> children;
    std::vector<ArrowSchema*> pointers;
    OwnedSchema dictionary;
};

/// The memory that our arrays point to.
struct ArrayContents {
    std::vector<Buffer> buffers;
    std::vector<const void*> pointers;
    std::vector<OwnedArray> children;
    std::vector<ArrowArray*> childPointers;
    OwnedArray dictionary;
    std::shared_ptr<const void> owner; ///< owner of buffers that are not ours
};

/// Consumers may have moved children out. Releasing the contents releases the children that remain.
template <class TContents, class T>
void Release(T* value) {
    delete static_cast<TContents*>(value->private_data);
    value->release = nullptr;
}

template <class T>
std::vector<T*> PointersTo(std::vector<Owned<T>>& owned) {
    std::vector<T*> pointers;
    pointers.reserve(owned.size());
    for (Owned<T>& one : owned)
        pointers.push_back(&*one);
    return pointers;
}

OwnedSchema Finish(std::unique_ptr<SchemaContents> contents, std::int64_t flags) {
    contents->pointers = PointersTo(contents->children);
    ArrowSchema schema{};
    schema.format = contents->format.c_str();
    schema.name = contents->name.c_str();
    schema.metadata = contents->metadata.empty() ? nullptr : contents->metadata.data();
    schema.flags = flags;
    schema.n_children = static_cast<std::int64_t>(contents->pointers.size());
    schema.children = contents->pointers.data();
    schema.dictionary = contents->dictionary ? &*contents->dictionary : nullptr;
    schema.release = &Release<SchemaContents, ArrowSchema>;
    schema.private_data = contents.release();
    return OwnedSchema(schema);
}

OwnedArray Finish(std::unique_ptr<ArrayContents> contents, std::size_t rows, std::int64_t nulls,
                  std::int64_t offset = 0) {
    contents->childPointers = PointersTo(contents->children);
    ArrowArray array{};
    array.length = static_cast<std::int64_t>(rows);
    array.null_count = nulls;
    array.offset = offset;
    array.n_buffers = static_cast<std::int64_t>(contents->pointers.size());
    array.n_children = static_cast<std::int64_t>(contents->childPointers.size());
    array.buffers = contents->pointers.data();
    array.children = contents->childPointers.data();
    array.dictionary = contents->dictionary ? &*contents->dictionary : nullptr;
    array.release = &Release<ArrayContents, ArrowArray>;
    array.private_data = contents.release();
    return OwnedArray(array);
}

void AppendNumber(std::string& text, std::size_t number) {
    const auto value = static_cast<std::int32_t>(number);
    std::array<char, sizeof value> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    text.append(bytes.data(), bytes.size());
}

std::string Written(const Metadata& metadata) {
    std::string text;
    if (metadata.empty())
        return text;
    AppendNumber(text, metadata.size());
    for (const auto& [key, value] : metadata)
        for (const std::string& part : {key, value}) {
            AppendNumber(text, part.size());
            text += part;
        }
    return text;
}

/// Metadata have no total length: each key and value has its own.
std::string CopyMetadata(const char* metadata) {
    if (metadata == nullptr)
        return {};
    std::size_t length = 0;
    const auto next = [&] {
        std::int32_t number = 0;
        std::memcpy(&number, metadata + length, sizeof number);
        length += sizeof number;
        return static_cast<std::size_t>(std::max(number, 0));
    };
    for (std::size_t texts = 2 * next(); texts != 0; --texts)
        length += next();
    return {metadata, length};
}

template <Vel::Sample T>
bool IsMissing(T sample, T noValue, bool isNaN) {
    if constexpr (std::is_floating_point_v<T>)
        return sample == noValue || (isNaN && std::isnan(sample));
    else
        return sample == noValue;
}

/// The bitmap of the rows that have a sample, and the number of rows that have none.
template <Vel::Sample T>
std::pair<Buffer, std::size_t> FindNulls(const T* samples, std::size_t rows, T noValue) {
    constexpr std::size_t bits = 8;
    bool isNaN = false;
    if constexpr (std::is_floating_point_v<T>)
        isNaN = std::isnan(noValue);
    std::size_t nulls = 0;
    for (std::size_t row = 0; row < rows; ++row)
        nulls += static_cast<std::size_t>(IsMissing(samples[row], noValue, isNaN));
    if (nulls == 0)
        return {Buffer(), 0};
    Buffer validity((rows + bits - 1) / bits);
    for (std::size_t row = 0; row < rows; row += bits) {
        unsigned byte = 0;
        for (std::size_t bit = 0; bit < std::min(bits, rows - row); ++bit)
            byte |= IsMissing(samples[row + bit], noValue, isNaN) ? 0U : 1U << bit;
        validity.Data()[row / bits] = static_cast<std::byte>(byte);
    }
    return {std::move(validity), nulls};
}

std::vector<Buffer> Buffers(Buffer first, Buffer second) {
    std::vector<Buffer> buffers;
    buffers.push_back(std::move(first));
    buffers.push_back(std::move(second));
    return buffers;
}

} // namespace

void Buffer::Resize(std::size_t bytes) {
    if (bytes > room || data == nullptr) {
        const std::size_t wanted = std::max({bytes, size == 0 ? bytes : 2 * room, std::size_t{1}});
        std::unique_ptr<std::byte[], Delete> larger(static_cast<std::byte*>(::operator new[](wanted, alignment)));
        if (size != 0)
            std::memcpy(larger.get(), data.get(), size);
        data = std::move(larger);
        room = wanted;
    }
    size = bytes;
}

OwnedSchema MakeField(const std::string& name, const std::string& format, const Metadata& metadata) {
    auto contents = std::make_unique<SchemaContents>();
    contents->name = name;
    contents->format = format;
    contents->metadata = Written(metadata);
    return Finish(std::move(contents), ARROW_FLAG_NULLABLE);
}

OwnedSchema MakeTextsField(const std::string& name) {
    auto contents = std::make_unique<SchemaContents>();
    contents->name = name;
    contents->format = "c";
    contents->dictionary = MakeField("", "u");
    return Finish(std::move(contents), 0);
}

OwnedSchema MakeTableSchema(std::vector<OwnedSchema> columns, const Metadata& metadata) {
    auto contents = std::make_unique<SchemaContents>();
    contents->format = "+s";
    contents->children = std::move(columns);
    contents->metadata = Written(metadata);
    return Finish(std::move(contents), 0);
}

OwnedSchema CopySchema(const ArrowSchema& schema) {
    return CopySchema(schema, schema.name != nullptr ? schema.name : "");
}

OwnedSchema CopySchema(const ArrowSchema& schema, const std::string& name) {
    auto contents = std::make_unique<SchemaContents>();
    contents->format = schema.format;
    contents->name = name;
    contents->metadata = CopyMetadata(schema.metadata);
    for (std::int64_t i = 0; i < schema.n_children; ++i)
        contents->children.push_back(CopySchema(*schema.children[i]));
    if (schema.dictionary != nullptr)
        contents->dictionary = CopySchema(*schema.dictionary);
    return Finish(std::move(contents), schema.flags);
}

OwnedArray MakeArray(std::size_t rows, std::size_t nulls, std::vector<Buffer> buffers) {
    auto contents = std::make_unique<ArrayContents>();
    contents->buffers = std::move(buffers);
    for (const Buffer& buffer : contents->buffers)
        contents->pointers.push_back(buffer.Data());
    if (nulls == 0 && !contents->pointers.empty())
        contents->pointers.front() = nullptr;
    return Finish(std::move(contents), rows, static_cast<std::int64_t>(nulls));
}

OwnedArray MakeSamples(std::size_t rows, Buffer samples, const Vel::AnySample& noValue) {
    auto [validity, nulls] = std::visit(
        [&]<class T>(T marker) {
            const void* const first = samples.Data();
            return FindNulls(static_cast<const T*>(first), rows, marker);
        },
        noValue);
    return MakeArray(rows, nulls, Buffers(std::move(validity), std::move(samples)));
}

OwnedArray MakeStatuses(std::span<const Vel::Status> statuses) {
    Buffer indices;
    indices.Append(statuses.data(), statuses.size());
    auto contents = std::make_unique<ArrayContents>();
    contents->buffers = Buffers(Buffer(), std::move(indices));
    contents->pointers = {nullptr, contents->buffers[1].Data()};
    Buffer ends(sizeof(std::int32_t));
    std::memset(ends.Data(), 0, sizeof(std::int32_t));
    Buffer texts;
    for (const std::string_view text : Vel::statusTexts) {
        texts.Append(text.data(), text.size());
        const auto end = static_cast<std::int32_t>(texts.Size());
        ends.Append(&end, sizeof end);
    }
    contents->dictionary = MakeTexts(Vel::statusTexts.size(), std::move(ends), std::move(texts));
    return Finish(std::move(contents), statuses.size(), 0);
}

OwnedArray MakeTexts(std::size_t rows, Buffer ends, Buffer texts) {
    std::vector<Buffer> buffers = Buffers(Buffer(), std::move(ends));
    if (texts.Data() == nullptr)
        texts.Resize(0);
    buffers.push_back(std::move(texts));
    return MakeArray(rows, 0, std::move(buffers));
}

OwnedArray MakeTable(std::size_t rows, std::vector<OwnedArray> columns) {
    auto contents = std::make_unique<ArrayContents>();
    contents->pointers = {nullptr};
    contents->children = std::move(columns);
    return Finish(std::move(contents), rows, 0);
}

OwnedArray ShareArray(const ArrowArray& array, std::int64_t first, std::int64_t rows,
                      std::shared_ptr<const void> owner) {
    auto contents = std::make_unique<ArrayContents>();
    contents->pointers.assign(array.buffers, array.buffers + array.n_buffers);
    for (std::int64_t i = 0; i < array.n_children; ++i)
        contents->children.push_back(ShareArray(*array.children[i], 0, array.children[i]->length, owner));
    if (array.dictionary != nullptr)
        contents->dictionary = ShareArray(*array.dictionary, 0, array.dictionary->length, owner);
    contents->owner = std::move(owner);
    const bool isWhole = first == 0 && rows == array.length;
    return Finish(std::move(contents), static_cast<std::size_t>(rows),
                  isWhole || array.null_count == 0 ? array.null_count : -1, array.offset + first);
}

} // namespace VelPython
