/// What the engine and the readers and writers of recordings exchange: columns of samples, and statuses.
#pragma once

#include "vocabulary/SampleTypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

namespace Vel {

/// A channel as hosts hold it: its name, and its NoValue, which has the channel's type.
struct ChannelType {
    std::string name;
    AnySample noValue;

    const SampleType& Type() const { return sampleTypes[noValue.index()]; }
};

/// Samples of one channel, one for each row, `stride` bytes apart. Does not own them.
struct Column {
    const void* first = nullptr;
    std::ptrdiff_t stride = 0; ///< 0: the same sample in every row

    const void* AddressAt(std::size_t row) const {
        return static_cast<const std::byte*>(first) + static_cast<std::ptrdiff_t>(row) * stride;
    }
    /// T must be the channel's type.
    template <Sample T>
    const T& At(std::size_t row) const {
        return *static_cast<const T*>(AddressAt(row));
    }
};

/// A contiguous range of samples as a column.
template <class TRange>
Column Over(const TRange& samples) {
    return {std::data(samples), sizeof(*std::data(samples))};
}

/// What became of one sample.
enum class Status : std::uint8_t {
    Computed,
    NoValue, ///< the result has no sample: an operand has none, or the operation says so
    Refused, ///< the operation did not compute from these samples, and the result stays as it was
    Held,    ///< there is no sample, and the last one takes its place
};
inline constexpr std::array<std::string_view, 4> statusTexts{"computed", "no value", "refused", "held"};

} // namespace Vel
