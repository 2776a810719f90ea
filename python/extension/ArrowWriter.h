/// Creates Arrow arrays and schemas for consumers. Each is released once, in any order, by any thread.
#pragma once

#include "ArrowAbi.h"

#include "vocabulary/Columns.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VelPython {

/// A growing buffer, aligned as Arrow recommends.
class Buffer {
public:
    Buffer() = default;
    explicit Buffer(std::size_t bytes) { Resize(bytes); }
    Buffer(Buffer&& other) noexcept
        : data(std::move(other.data)), size(std::exchange(other.size, 0)), room(std::exchange(other.room, 0)) {}
    Buffer& operator=(Buffer&& other) noexcept {
        data = std::move(other.data);
        size = std::exchange(other.size, 0);
        room = std::exchange(other.room, 0);
        return *this;
    }

    std::byte* Data() { return data.get(); }
    const std::byte* Data() const { return data.get(); }
    std::size_t Size() const { return size; }
    /// New bytes are uninitialized.
    void Resize(std::size_t bytes);
    void Append(const void* from, std::size_t bytes) {
        const std::size_t end = size;
        Resize(size + bytes);
        if (bytes != 0)
            std::memcpy(data.get() + end, from, bytes);
    }

private:
    static constexpr std::align_val_t alignment{64};
    struct Delete {
        void operator()(std::byte* bytes) const { ::operator delete[](bytes, alignment); }
    };

    std::unique_ptr<std::byte[], Delete> data;
    std::size_t size = 0;
    std::size_t room = 0;
};

/// Keys and values for a schema's metadata.
using Metadata = std::vector<std::pair<std::string, std::string>>;

OwnedSchema MakeField(const std::string& name, const std::string& format, const Metadata& metadata = {});
/// A dictionary of texts with 8-bit indices.
OwnedSchema MakeTextsField(const std::string& name);
/// The schema of a table with these columns.
OwnedSchema MakeTableSchema(std::vector<OwnedSchema> columns, const Metadata& metadata = {});
OwnedSchema CopySchema(const ArrowSchema& schema);
OwnedSchema CopySchema(const ArrowSchema& schema, const std::string& name);

/// An array with these buffers. The first is the validity bitmap, which is omitted if there are no nulls.
OwnedArray MakeArray(std::size_t rows, std::size_t nulls, std::vector<Buffer> buffers);
/// A column of numbers. Those equal to the NoValue become null.
OwnedArray MakeSamples(std::size_t rows, Buffer samples, const Vel::AnySample& noValue);
/// Statuses as indices into the dictionary of their texts.
OwnedArray MakeStatuses(std::span<const Vel::Status> statuses);
/// A column of texts: `texts` holds them one after another, `ends` their end offsets.
OwnedArray MakeTexts(std::size_t rows, Buffer ends, Buffer texts);
OwnedArray MakeTable(std::size_t rows, std::vector<OwnedArray> columns);

/// Rows of an array that is not ours. `owner` keeps it alive.
OwnedArray ShareArray(const ArrowArray& array, std::int64_t first, std::int64_t rows,
                      std::shared_ptr<const void> owner);

} // namespace VelPython
