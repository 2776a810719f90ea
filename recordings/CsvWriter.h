/// A result: CSV of columns. It always consists of whole rows.
#pragma once

#include "recordings/CsvReader.h"
#include "recordings/OutputFile.h"

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Vel::Recordings {

/// A channel as a column of a result.
struct ResultColumn {
    ChannelType channel;
    std::optional<TimeForm> time = {}; ///< in which its samples are written; the channel is a Float64 then
};

/// Rows to write: samples for each column, statuses and texts for each name of the header.
struct ResultRows {
    std::size_t count = 0;
    std::span<const Column> samples;
    std::span<const std::vector<Status>> statuses = {};
    std::span<const TextColumn* const> texts = {};
};

class CsvWriter {
public:
    /// See OutputFile for the name, and for what becomes of the file if the run fails.
    CsvWriter(const std::string& name, CsvFormat itsFormat, const std::vector<ResultColumn>& columns);

    /// Writes the line of names: channels, then columns of statuses, then columns of texts.
    void WriteHeader(std::span<const std::string> statusNames, std::span<const std::string> textNames = {});
    /// How the times of a column look from the next row on.
    void SetTimeStyle(std::size_t column, const TimeStyle& style);
    void WriteRows(const ResultRows& rows);
    void Flush();
    /// Puts the result in its place.
    void Keep();
    /// Leaves the rows so far in the file with the ending ".part", and returns its name. Empty: there are no rows, or
    /// no such file.
    std::string LeavePart();

    /// Whether nobody reads the result any more.
    bool IsClosed() const { return isClosed; }

private:
    void Append(std::string_view text);
    void AppendRow(const ResultRows& rows, std::size_t row);
    template <bool withTimes>
    char* WriteSamples(char* to, std::span<const Column> samples, std::size_t row);
    char* WriteTime(char* to, std::size_t column, double value);
    char* WriteText(char* to, std::string_view text);

    OutputFile file;
    CsvFormat format;
    std::array<std::string, statusTexts.size()> statusCells;
    bool hasRows = false;
    std::atomic<bool> isClosed = false;
    std::vector<ChannelType> channels;
    std::vector<std::unique_ptr<TimeWriter>> times; ///< for each channel; null where its samples are numbers
    bool hasTimes = false;                          ///< whether any of them is there
    std::vector<char> buffer;
    std::size_t used = 0;
    std::size_t numberRoom = 0; ///< bytes that the numbers of a row may take
};

} // namespace Vel::Recordings
