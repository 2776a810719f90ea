/// Runs a plan over a recording and produces the tables of the result on demand.
#pragma once

#include "ArrowRows.h"
#include "ArrowWriter.h"
#include "Recording.h"

#include "engine/Engine.h"
#include "page/PageFile.h"
#include "page/PlotPlan.h"

#include "recordings/CsvWriter.h"

#include <array>
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

/// Called with the number of rows so far, and with the share of the recording that has been read, if known.
using Progress = std::function<void(std::uint64_t rows, std::optional<double> share)>;

/// What to produce besides samples.
struct Looks {
    bool atStatuses; ///< as columns of the result
    bool atWarnings;
    bool areAllSamples = false; ///< the tables hold the engine's samples, for texts: no column is passed on as it is
};

class Replay {
public:
    /// `itsEndsRun`: this is the whole recording, not just its beginning.
    Replay(Vel::Engine::Plan itsPlan, std::unique_ptr<Recording> itsRecording, Looks looks, bool itsEndsRun);

    /// Collects a page of the result while the tables are made. `plot` says what it shows. Call it before the first
    /// table.
    void CollectPage(const std::string& file, std::uint64_t mostBytes, Vel::Page::PlotPlan plot);
    /// The summary as velreplay prints it. Without the time if it is not known.
    std::string SummaryText(std::optional<double> seconds) const;
    /// Writes the page, after the last table, under the text of a summary. `settings` were replaced; empty: none.
    void WritePage(const std::string& settings);
    void Report(Progress itsProgress) { progress = std::move(itsProgress); }
    const std::vector<std::string>& Names() const { return names; }
    /// Whether a column holds statuses.
    bool IsStatus(std::size_t column) const;
    const ArrowSchema& Schema() const { return *schema; }
    /// The columns of samples and, for inputs of times, how their texts look so far. They are the first of a table;
    /// columns of statuses follow, then the kept ones.
    const std::vector<Vel::Recordings::ResultColumn>& SampleColumns() const { return sampleColumns; }
    std::optional<Vel::Recordings::TimeStyle> TimeStyleOf(std::size_t column) const;
    std::vector<std::string> StatusNames() const;
    bool IsLive() const { return recording != nullptr && recording->IsLive(); }
    /// The units that the recording's row of units gives, by the name of the column in the result.
    std::map<std::string, std::string> Units() const;

    /// The next table; empty at the end of the recording or of the part available so far. For a value that is not a
    /// valid sample, returns the rows before it first and then throws Vel::Error.
    OwnedArray Next();

    using Totals = std::array<std::uint64_t, Vel::statusTexts.size()>;
    /// For each computation that is not inner: its first result, and how often each status has come so far.
    std::vector<std::pair<std::string, Totals>> StatusTotals() const;
    /// The number of rows that the engine has computed so far.
    std::uint64_t RowsComputed() const;
    /// The number of rows read so far.
    std::uint64_t RowsRead() const;
    /// Continues with more rows of the same recording. The columns must be the same.
    void GoOn(std::unique_ptr<Recording> more);
    /// Ends the recording. The rows still pending come next.
    void EndRecording();
    /// Stops reading and releases the recording.
    void Close();

    std::vector<Vel::Engine::Warning> Warnings() const;

private:
    /// How a column of the result is produced.
    enum class Way : std::uint8_t {
        Made,   ///< the engine writes its samples
        Copied, ///< copied from the samples of a block
        Passed  ///< a column of the recording, passed on
    };
    struct OutputColumn {
        std::string name;
        Way way = Way::Made;
        std::size_t channel = 0;
        std::size_t child = 0;            ///< Passed: child of the recording's batch
        std::string timeFormat = {};      ///< set if samples are written as times
        Buffer samples = {};              ///< not Passed
        std::vector<ArrowRows> rows = {}; ///< Passed, if result rows differ from those of the recording: one
    };
    /// A row of a batch that the result may still need.
    struct SavedRow {
        std::shared_ptr<const OwnedArray> batch;
        std::int64_t row;
    };

    void FindColumns(Looks looks);
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
    bool isDirect; ///< result rows are the rows of the recording
    Progress progress;
    std::optional<Vel::Page::PlotPlan> plot;
    std::optional<Vel::Page::PageFile> page;
    std::vector<OutputColumn> columns;
    std::size_t kept = 0;                  ///< index of the first column that the plan keeps
    std::vector<std::size_t> computations; ///< with a column of statuses
    std::vector<std::vector<Vel::Status>> statuses;
    std::vector<std::string> names;
    std::vector<Vel::Recordings::ResultColumn> sampleColumns;
    OwnedSchema schema;
    std::vector<Vel::Column> inputs;
    std::size_t position = 0;        ///< next row of the batch
    std::uint64_t rowsBefore = 0;    ///< rows before the batch
    std::size_t taken = 0;           ///< rows for the next table so far
    std::uint64_t computed = 0;      ///< rows that the engine has computed
    bool hasEnded = false;           ///< no more batches
    bool endsRun;                    ///< the end of the batches ends the run
    std::optional<Vel::Error> fault; ///< to be thrown after the rows so far
    std::map<std::uint64_t, SavedRow> saved;
    std::vector<Vel::Engine::Warning> closedWarnings;
    mutable std::mutex mutex;
};

} // namespace VelPython
