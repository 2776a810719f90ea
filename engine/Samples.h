/// Samples and channels as the parts of a run exchange them.
#pragma once

#include "vocabulary/Columns.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Vel::Engine {

/// A channel within a run: its description, and its samples in the current block.
struct ChannelAtWork {
    const ChannelType* channel;
    Column* column;
};

/// The samples of a column that the engine writes.
template <Sample T>
T* Samples(const Column& column) {
    return static_cast<T*>(const_cast<void*>(column.first)); // memory of the engine, or of the host for this purpose
}

/// One sample of any type, in memory that the library can point to.
class SampleCell {
public:
    SampleCell() = default;
    explicit SampleCell(const AnySample& sample) {
        std::visit([this](const auto& value) { std::memcpy(bytes.data(), &value, sizeof value); }, sample);
    }
    const void* Address() const noexcept { return bytes.data(); }
    template <Sample T>
    T Get() const noexcept {
        T value;
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }
    template <Sample T>
    void Set(T value) noexcept {
        std::memcpy(bytes.data(), &value, sizeof value);
    }

private:
    alignas(std::uint64_t) std::array<std::byte, sizeof(std::uint64_t)> bytes{};
};

} // namespace Vel::Engine
