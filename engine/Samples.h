/// Samples and channels as the parts of a run hand them to one another.
#pragma once

#include "vocabulary/Columns.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Vel::Engine {

/// A channel as a part of a run sees it: what it is, and where the samples of the block are.
struct ChannelAtWork {
    const ChannelType* channel;
    Column* column;
};

/// The samples of a column that the engine writes itself.
template <Sample T>
T* Samples(const Column& column) {
    return static_cast<T*>(const_cast<void*>(column.first)); // the memory is the engine's, or the host's for this
}

/// One sample of any type as the library sees it.
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
