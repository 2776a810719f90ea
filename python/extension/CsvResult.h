/// A result in CSV, as velreplay writes it.
#pragma once

#include "ArrowAbi.h"
#include "Replay.h"

#include "recordings/CsvWriter.h"

#include <string>
#include <vector>

namespace VelPython {

/// Writes the tables of a replay whose columns are samples (Looks::areAllSamples).
class CsvResult {
public:
    /// Opens the file as OutputFile does, and writes the header. Throws Vel::Error if a kept column holds no texts.
    CsvResult(const std::string& name, const Vel::Recordings::CsvFormat& format, const Replay& itsReplay);

    void Write(const ArrowArray& table);
    /// Brings the rows so far to their reader.
    void Flush() { writer.Flush(); }
    /// Whether nobody reads the result any more.
    bool IsClosed() const { return writer.IsClosed(); }
    /// Puts the result in its place.
    void Keep() { writer.Keep(); }
    /// Leaves the rows so far in a file of their own, and returns its name; empty: there is none.
    std::string LeavePart() { return writer.LeavePart(); }

private:
    const Replay& replay;
    std::vector<std::string> statusNames;
    std::vector<std::string> keptNames;
    Vel::Recordings::CsvWriter writer;
};

} // namespace VelPython
