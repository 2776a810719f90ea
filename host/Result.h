// The result: CSV of the chosen channels. It always consists of whole rows.
#pragma once

#include "host/Channel.h"
#include "host/Computation.h"
#include "host/Recording.h"
#include "host/Replacement.h"

#include <atomic>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velreplay {

/// A file is written beside the one that it replaces at the end, so a run that fails leaves the old one. Standard
/// output, devices and pipes are written as the rows come.
class Result {
public:
    /// "-" is standard output.
    Result(const std::string& itsName, CsvFormat itsFormat, std::vector<const Channel*> itsChannels);
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
    /// Removes what has not been kept.
    ~Result();

    /// Adds a column with the status of a computation.
    void AddStatus(const Computation& computation) { computations.push_back(&computation); }

    void WriteHeader();
    /// Writes the rows of the finished block.
    void WriteRows(std::size_t rows);
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
    void AppendRow(std::size_t row);
    void TakeBackPartialRow(std::string_view left);

    std::string name;
    std::optional<Replacement> replacement; ///< nothing for what cannot be replaced
    CsvFormat format;
    int file = -1;
    std::atomic<bool> isClosed = false;
    std::vector<const Channel*> channels;
    std::vector<const Computation*> computations;
    std::vector<char> buffer;
    std::size_t used = 0;
};

} // namespace Velreplay
