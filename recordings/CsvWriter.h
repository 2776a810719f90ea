/// A result: CSV of columns. It always consists of whole rows.
#pragma once

#include "recordings/CsvReader.h"
#include "recordings/OutputFile.h"

#include <array>
#include <atomic>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Vel::Recordings {

class CsvWriter {
public:
    /// The name is one of OutputFile, and so is what becomes of a file whose run fails.
    CsvWriter(const std::string& name, CsvFormat itsFormat, std::vector<ChannelType> itsChannels);

    /// The line of names: of the channels, and of columns of statuses behind them.
    void WriteHeader(std::span<const std::string> statusNames);
    /// Writes rows: a column for each channel, and statuses for each name of the header.
    void WriteRows(std::size_t rows, std::span<const Column> columns, std::span<const std::vector<Status>> statuses);
    void Flush();
    /// Puts the result in its place.
    void Keep();
    /// Leaves the rows so far beside their place, and returns the file's name; empty: there are none, or they went
    /// elsewhere.
    std::string LeavePart();

    /// Nobody reads the result any more.
    bool IsClosed() const { return isClosed; }

private:
    void Append(std::string_view text);
    void AppendRow(std::size_t row, std::span<const Column> columns, std::span<const std::vector<Status>> statuses);

    OutputFile file;
    CsvFormat format;
    std::array<std::string, statusTexts.size()> statusCells;
    bool hasRows = false;
    std::atomic<bool> isClosed = false;
    std::vector<ChannelType> channels;
    std::vector<char> buffer;
    std::size_t used = 0;
};

} // namespace Vel::Recordings
