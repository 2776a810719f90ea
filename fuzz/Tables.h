/// Tables in memory, as files that readers and writers of recordings open by name.
#pragma once

#include "recordings/CsvWriter.h"
#include "vocabulary/Columns.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace VelFuzz {

/// A file in memory, or a pipe that ends after a text.
class MemoryFile {
public:
    enum class Kind : std::uint8_t { Regular, Pipe };

    explicit MemoryFile(std::string_view text = {}, Kind kind = Kind::Regular);
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile();

    std::string Name() const;

private:
    int file = -1;
};

/// What a reader reads from a table.
struct Table {
    bool hasHeader = false;
    std::size_t rows = 0;
    std::string samples; ///< their bytes, row by row
    std::string texts;   ///< of kept columns, each behind its length
    std::string failure; ///< the message; empty: none
};

/// Reads a table in blocks of this many bytes, and checks the reader's promises about blocks and messages.
Table ReadTable(const MemoryFile& file, Vel::Recordings::CsvFormat format, std::size_t blockBytes,
                std::span<const Vel::Recordings::WantedColumn> wanted, const Vel::Recordings::KeptColumns& kept = {});

/// Channels as columns of a recording that have their names.
std::vector<Vel::Recordings::WantedColumn> AsWanted(std::span<const Vel::ChannelType> channels);

/// Channels as columns of a result.
std::vector<Vel::Recordings::ResultColumn> AsResult(std::span<const Vel::ChannelType> channels);

/// The bytes of the samples that a reader reads from columns that have been written.
std::string AsReadBack(std::span<const Vel::ChannelType> channels, std::span<const Vel::Column> columns,
                       std::size_t rows);

} // namespace VelFuzz
