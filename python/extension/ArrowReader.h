/// Arrow columns as columns of samples.
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

/// What a column is read as.
struct WantedSamples {
    Vel::ChannelType channel;
    std::string column;                     ///< its name, for messages
    std::optional<Vel::TimeForm> time = {}; ///< the samples are times
    bool takesNoValues = false;             ///< a value that equals the NoValue means that there is no sample
};

/// Reads one column, array by array. Samples that have the wanted type and no gaps are read where they lie; others are
/// converted, where the value fits exactly.
///
///     ArrowReader reader(wanted, schema);
///     reader.Take(array, 0, rows, 0);
///     const ArrowReader::Block block = reader.Read(0, rows);
///
/// `block.column` has `block.rows` samples; fewer than asked for where a value does not fit, and Fault() says why.
class ArrowReader {
public:
    /// Throws Vel::Error for a type that samples cannot be made of.
    ArrowReader(WantedSamples itsWanted, const ArrowSchema& schema);
    ArrowReader(ArrowReader&&) noexcept;
    ArrowReader& operator=(ArrowReader&&) noexcept;
    ~ArrowReader();

    /// Goes on with an array: its rows from `first` on. It must stay until the next one is taken. `rowsBefore` counts
    /// the rows before this array, for messages.
    void Take(const ArrowArray& array, std::int64_t first, std::int64_t rows, std::uint64_t rowsBefore);

    struct Block {
        Vel::Column column;
        std::size_t rows;
    };
    /// The samples of so many rows of the array, from `begin` on. They stay until the next call.
    Block Read(std::size_t begin, std::size_t count);
    /// What is wrong with the value behind the last block.
    const std::optional<Vel::Error>& Fault() const;

    /// Values so far that were taken for missing samples, since they are the NoValue of an integer type; the row of the
    /// first, from 1.
    struct NoValues {
        std::uint64_t count = 0;
        std::uint64_t firstRow = 0;
    };
    NoValues TakenNoValues() const;

    /// Whether the values are nanoseconds, which a Float64 cannot tell in our days.
    bool Rounds() const;

private:
    class Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace VelPython
