/// Reads Arrow columns as columns of samples.
#pragma once

#include "ArrowType.h"

#include "recordings/Times.h"
#include "vocabulary/Columns.h"
#include "vocabulary/Error.h"
#include "vocabulary/TimeForm.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VelPython {

/// How to read a column.
struct WantedSamples {
    Vel::ChannelType channel;
    std::string column;                     ///< name, for messages
    std::optional<Vel::TimeForm> time = {}; ///< set if the samples are times
    bool takesNoValues = false;             ///< a value equal to the NoValue counts as missing
};

/// Reads one column, array by array. Columns of the wanted type without gaps are read without a copy. Other values are
/// converted if that is exact.
///
///     ArrowReader reader(wanted, schema);
///     reader.Take(array, 0, rows, 0);
///     const ArrowReader::Block block = reader.Read(0, rows);
///
/// `block.column` has `block.rows` samples. If these are fewer than requested, a value cannot be converted, and Fault()
/// says why.
class ArrowReader {
public:
    /// Throws Vel::Error for a type that cannot be converted to samples.
    ArrowReader(WantedSamples itsWanted, const ArrowSchema& schema);
    ArrowReader(ArrowReader&&) noexcept;
    ArrowReader& operator=(ArrowReader&&) noexcept;
    ~ArrowReader();

    /// Takes the next array, from row `first` on. It must remain valid until the next call. `rowsBefore` counts the
    /// rows before this array, for messages.
    void Take(const ArrowArray& array, std::int64_t first, std::int64_t rows, std::uint64_t rowsBefore);

    struct Block {
        Vel::Column column;
        std::size_t rows;
    };
    /// The samples of `count` rows of the array from `begin` on. Valid until the next call.
    Block Read(std::size_t begin, std::size_t count);
    /// The error of the value after the last block.
    const std::optional<Vel::Error>& Fault() const;

    /// Counts the values so far that were read as missing because they equal the NoValue of an integer type, with the
    /// row of the first, from 1.
    struct NoValues {
        std::uint64_t count = 0;
        std::uint64_t firstRow = 0;
    };
    NoValues TakenNoValues() const;

    /// Whether the values are nanoseconds, which a Float64 cannot resolve for present times.
    bool Rounds() const;

private:
    class Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace VelPython
