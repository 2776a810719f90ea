/// A plan over a recording: tables of its result, made one by one as they are asked for.
#pragma once

#include "ArrowRows.h"
#include "ArrowWriter.h"
#include "Recording.h"

#include "engine/Engine.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace VelPython {

/// Called with the rows so far, and with how much of the recording has been read, if that is known.
using Progress = std::function<void(std::uint64_t rows, std::optional<double> share)>;

/// What to look at beside the samples.
struct Looks {
    bool atStatuses; ///< for columns of the result
    bool atWarnings;
};

class Replay {
public:
    /// `itsEndsRun`: what comes is the whole recording, not the beginning of it.
    Replay(Vel::Engine::Plan itsPlan, std::unique_ptr<Recording> itsRecording, Looks looks, bool itsEndsRun);

    void Report(Progress itsProgress) { progress = std::move(itsProgress); }
    const std::vector<std::string>& Names() const { return names; }
    /// Whether a column is one of statuses.
    bool IsStatus(std::size_t column) const;
    const ArrowSchema& Schema() const { return *schema; }

    /// The next table; it holds nothing where the recording, or what there is of it so far, has ended. Throws
    /// Vel::Error for a value that is no sample after the rows before it.
    OwnedArray Next();

    /// The rows so far that have been read.
    std::uint64_t RowsRead() const;
    /// More rows of the same recording, which has the same columns.
    void GoOn(std::unique_ptr<Recording> more);
    /// Rows that have waited for more come next, and the recording has ended.
    void EndRecording();
    /// Nothing more will be read: lets go of the recording.
    void Close();

    std::vector<Vel::Engine::Warning> Warnings() const;

private:
    /// How a column of the result comes about.
    enum class Way : std::uint8_t {
        Made,   ///< the engine writes its samples
        Copied, ///< from where the samples of a block are
        Passed  ///< it is one of the recording's
    };
    struct OutputColumn {
        std::string name;
        Way way = Way::Made;
        std::size_t channel = 0;
        std::size_t child = 0;            ///< Passed: of the recording's batch
        std::string timeFormat = {};      ///< the samples are written as times
        Buffer samples = {};              ///< not Passed
        std::vector<ArrowRows> rows = {}; ///< Passed, where the rows of a result are not those of the recording: one
    };
    /// A row of a batch that rows of the result may still come from.
    struct SavedRow {
        std::shared_ptr<const OwnedArray> batch;
        std::int64_t row;
    };

    void FindColumns(bool hasStatuses);
    void AddPassed(OutputColumn column, std::size_t child);
    void RefuseRepeatedNames() const;
    OwnedSchema MakeSchema() const;
    bool FindBatch();
    void EndBatch();
    OwnedArray NextDirect();
    OwnedArray NextTaken();
    bool TakeBlock();
    std::size_t ReadBlock(std::size_t begin, std::size_t count);
    void CopySamples(OutputColumn& column, std::size_t done, std::size_t rows);
    void CopyStatuses(std::size_t done);
    void TakeRows();
    OwnedArray Table(std::size_t rows, std::int64_t first);
    OwnedArray ColumnOf(OutputColumn& column, std::size_t rows, std::int64_t first);
    OwnedArray TimesOf(OutputColumn& column, std::size_t rows) const;
    std::size_t SizeOf(const OutputColumn& column) const { return run.Channels()[column.channel].Type().size; }

    Vel::Engine::Plan plan;
    std::size_t blockRows;
    Vel::Engine::Run run;
    std::unique_ptr<Recording> recording;
    bool isDirect; ///< the rows of the result are those of the recording
    Progress progress;
    std::vector<OutputColumn> columns;
    std::size_t kept = 0;                  ///< the first of the columns that the plan keeps
    std::vector<std::size_t> computations; ///< with a column of statuses
    std::vector<std::vector<Vel::Status>> statuses;
    std::vector<std::string> names;
    OwnedSchema schema;
    std::vector<Vel::Column> inputs;
    std::size_t position = 0;        ///< in the batch
    std::uint64_t rowsBefore = 0;    ///< the batch
    std::size_t taken = 0;           ///< rows of the next table
    bool hasEnded = false;           ///< the batches
    bool endsRun;                    ///< then
    std::optional<Vel::Error> fault; ///< behind the rows so far
    std::map<std::uint64_t, SavedRow> saved;
    std::vector<Vel::Engine::Warning> closedWarnings;
    mutable std::mutex mutex;
};

} // namespace VelPython
