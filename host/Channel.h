// A channel of the host: a name, a sample type, its NoValue and the samples of one block of rows in a column.
#pragma once

#include <VelOperation.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace Velreplay {

/// Samples of one type: those of the block that is being read and computed, and those of the block before, which may
/// still be being written. The first of a block's values is the sample before it: operations that latch start from it.
template <Vel::Sample T>
struct Samples {
    T noValue = Vel::defaultNoValue<T>;
    std::vector<T> values;
    std::vector<T> finished;

    /// As the library compares: a NaN as NoValue stands for every NaN.
    bool IsNoValue(T value) const {
        if constexpr (std::is_floating_point_v<T>)
            return value == noValue || (std::isnan(value) && std::isnan(noValue));
        else
            return value == noValue;
    }
};

/// In the order of the type letters.
using AnySamples = std::variant<Samples<std::uint8_t>, Samples<std::uint16_t>, Samples<std::uint32_t>,
                                Samples<std::uint64_t>, Samples<std::int8_t>, Samples<std::int16_t>,
                                Samples<std::int32_t>, Samples<std::int64_t>, Samples<float>, Samples<double>>;

inline constexpr std::string_view typeLetters = "BWLQbwlqFD";

struct Channel {
    std::string name;
    AnySamples samples;

    char Letter() const { return typeLetters[samples.index()]; }
    bool IsFloating() const { return Letter() == 'F' || Letter() == 'D'; }
};

/// Empty samples of the type that a letter stands for.
AnySamples SamplesOfType(char letter);

/// "Float64" for D.
std::string_view TypeName(char letter);

/// D for "Float64"; nothing for what is no type.
std::optional<char> TypeLetter(std::string_view name);

/// All names, for messages.
std::string TypeNames();

/// Makes room for blocks of rows and puts NoValue before the first.
void Prepare(Channel& channel, std::size_t rows);

/// Puts one value into all rows: the NoValue of `constant`, which has the same type.
void FillConstant(Channel& channel, const AnySamples& constant);

/// Ends a block: its values are the finished ones now, and its last row is the sample before the next block. A
/// row that it has begun to read becomes the first of the next.
void Finish(Channel& channel, std::size_t rows);

} // namespace Velreplay
