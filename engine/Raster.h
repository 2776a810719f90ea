/// Rows at even times, made from a recording whose rows come as they come.
#pragma once

#include "engine/Engine.h"
#include "engine/Samples.h"

#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace Vel::Engine {

/// Makes the rows of a raster from those of a recording, block by block.
///
/// Row k stands at origin + k * period, rounded once. It is made when the recording has a row behind it: rows with one
/// time may follow one another, and a line needs both of its ends.
class Raster {
public:
    /// `itsInputs` are the plan's inputs with the columns that the raster writes: room for so many rows in each.
    Raster(const Plan& plan, std::vector<ChannelAtWork> itsInputs, std::size_t itsMostRows);

    /// Begins with the next rows of the recording. The columns must stay until Make has gone through them.
    void Take(std::span<const Column> columns, std::size_t rows);
    /// The recording has ended.
    void End();
    bool HasEnded() const { return hasEnded; }

    /// Makes the next rows of the raster, and returns how many: fewer than there is room for where the rows of the
    /// recording end, or where the raster begins anew. Throws Error for a step in time that the plan does not allow.
    std::size_t Make();
    /// Whether the rows that Make made last begin a raster, after another one.
    bool IsRestart() const { return isRestart; }

    /// For each row that Make made last: the last row of the recording that it has seen, from 0.
    std::span<const std::uint64_t> Sources() const { return sources; }
    /// The row that rows to come see, unless another one comes before.
    std::uint64_t LastSource() const { return lastSource; }

    std::vector<Warning> FindWarnings() const;

private:
    /// How an input comes onto the raster.
    enum class Way {
        Last,    ///< the last sample
        Line,    ///< the line between two samples
        Time,    ///< the time of the row
        WallTime ///< the time of the row on the clocks of a zone
    };
    /// An input, and its last sample.
    struct Track {
        ChannelAtWork input;
        Way way;
        SampleCell sample = {};
        double time = -std::numeric_limits<double>::infinity(); ///< of the sample
        bool isThere = false;
        bool isEnding = false; ///< a missing sample has followed: one row of the raster still sees this one
    };
    struct Count {
        std::uint64_t firstRow = 0; ///< from 1
        std::uint64_t rows = 0;
        void Add(std::uint64_t number) {
            if (rows++ == 0)
                firstRow = number;
        }
    };

    std::optional<double> NextTime();
    void RefuseTooLate(double time) const;
    void Begin(double time);
    bool IsBefore(double rowTime, double time) const;
    void See(double time);
    bool MakeBelow(double end);
    bool MakeLast();
    void Write(double time, std::optional<double> end);
    template <Sample T>
    T SampleAt(std::size_t input, T noValue, double time, std::optional<double> end);
    double TimeOf(std::int64_t number) const;

    RasterPlan plan;
    std::vector<Track> tracks;
    std::size_t timeInput = 0;
    std::size_t mostRows;

    std::span<const Column> columns;
    std::size_t given = 0;        ///< rows of the recording
    std::size_t next = 0;         ///< of them, the one to be taken
    std::uint64_t rowsBefore = 0; ///< those that are given
    std::optional<double> last;   ///< the time of the last row that was taken
    std::uint64_t lastSource = 0;
    bool hasEnded = false;
    double origin = 0;
    std::int64_t row = 0; ///< of the raster, the next one
    double lastMade = 0;  ///< its time
    std::uint64_t madeBefore = 0;
    std::size_t made = 0;
    bool isRestart = false;
    std::vector<std::uint64_t> sources;
    Count outOfOrder;
    Count withoutTime;
    Count stale;
    Count unseen;
    std::uint64_t taken = 0; ///< rows of the recording
};

} // namespace Vel::Engine
