/// The type of an Arrow column, from the format in its schema.
#pragma once

#include "ArrowAbi.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace VelPython {

struct ArrowType {
    enum class Kind : std::uint8_t {
        Integer,
        Floating, ///< 2, 4 or 8 bytes
        Bool,     ///< bits
        Null,     ///< no sample in any row
        Date,
        Timestamp,
        Duration,
        FixedWidth, ///< other values of fixed size
        Text,       ///< bytes of any length, with offsets of `bytes` bytes
        View,       ///< bytes of any length, with views
        Other
    };

    Kind kind = Kind::Other;
    std::size_t bytes = 0; ///< per value, or per offset
    bool isSigned = false;
    bool isBinary = false;           ///< Text and View: bytes rather than UTF-8
    std::int64_t perSecond = 1;      ///< Timestamp and Duration: units per second
    std::int64_t secondsPerUnit = 0; ///< for a Date in days
    std::string zone;                ///< Timestamp; empty: local time in an unknown zone
    std::string name;                ///< for messages: "timestamp[ns, UTC]"

    bool IsTime() const { return kind == Kind::Date || kind == Kind::Timestamp; }
};

/// The type of the values. For a dictionary the schema gives the type of the indices.
ArrowType TypeOf(const ArrowSchema& schema);

/// The unit of a column: what its metadata have under "unit". Empty if there is none.
std::string UnitOf(const ArrowSchema& schema);

/// Checks that an array has the buffers that its type needs, and rows up to `length`. Throws a Vel::Error that names
/// the column.
void CheckArray(const ArrowArray& array, const ArrowType& type, std::int64_t length, const std::string& column);

/// Reads one bit from a bitmap of Arrow, lowest bit of a byte first.
inline bool BitAt(const std::uint8_t* bits, std::size_t bit) {
    return ((unsigned{bits[bit / 8]} >> (bit % 8)) & 1U) != 0;
}

/// Reads an integer from a buffer, possibly unaligned. UInt64 from 2^63 on become negative.
std::int64_t IntegerAt(const void* buffer, std::size_t index, const ArrowType& type);

/// A bitmap of the rows that have a value. Without a bitmap all rows have one.
class Validity {
public:
    Validity() = default;
    /// `offset`: rows before the first one.
    Validity(const ArrowArray& array, std::int64_t offset)
        : bits(array.null_count == 0 || array.n_buffers == 0 ? nullptr
                                                             : static_cast<const std::uint8_t*>(array.buffers[0])),
          first(static_cast<std::size_t>(offset)) {}

    bool operator[](std::size_t row) const { return bits == nullptr || BitAt(bits, first + row); }
    /// Whether all of these rows have a value.
    bool AreAll(std::size_t begin, std::size_t count) const;

private:
    const std::uint8_t* bits = nullptr;
    std::size_t first = 0;
};

} // namespace VelPython
