/// A result: CSV of columns. It always consists of whole rows.
#pragma once

#include "recordings/CsvReader.h"
#include "recordings/Replacement.h"

#include <atomic>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Vel::Recordings {

/// A file is written beside the one that it replaces at the end, so a run that fails leaves the old one. Standard
/// output, devices and pipes are written as the rows come.
class CsvWriter {
public:
    /// "-" is standard output.
    CsvWriter(const std::string& itsName, CsvFormat itsFormat, std::vector<ChannelType> itsChannels);
    CsvWriter(const CsvWriter&) = delete;
    CsvWriter& operator=(const CsvWriter&) = delete;
    /// Removes what has not been kept.
    ~CsvWriter();

    /// The line of names: of the channels, and of columns of statuses behind them.
    void WriteHeader(std::span<const std::string> statusNames);
    /// Writes rows: a column for each channel, and statuses for each name of the header.
    void WriteRows(std::size_t rows, std::span<const Column> columns, std::span<const std::vector<Status>> statuses);
    void Flush();
    /// Puts the result in its place.
    void Keep();
    /// Leaves the rows so far beside their place, and returns the file's name; empty: they went elsewhere.
    std::string LeavePart();

    /// Nobody reads the result any more.
    bool IsClosed() const { return isClosed; }

private:
    void Append(std::string_view text);
    void AppendName(const std::string& channel);
    void AppendRow(std::size_t row, std::span<const Column> columns, std::span<const std::vector<Status>> statuses);
    void TakeBackPartialRow(std::string_view left);

    std::string name;
    std::optional<Replacement> replacement; ///< nothing for what cannot be replaced
    CsvFormat format;
    int file = -1;
    std::atomic<bool> isClosed = false;
    std::vector<ChannelType> channels;
    std::vector<char> buffer;
    std::size_t used = 0;
};

} // namespace Vel::Recordings
