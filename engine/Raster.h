/// Resamples a recording with uneven times to rows at even times.
#pragma once

#include "engine/Engine.h"
#include "engine/Samples.h"

#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace Vel::Engine {

/// Computes the rows of a raster from those of a recording, block by block.
///
/// Row k is at origin + k * period, rounded once. It is computed only once the recording has a later row: several rows
/// may have the same time, and interpolation needs the sample on each side.
class Raster {
public:
    /// `itsInputs` are the plan's inputs with the columns that the raster writes; each has room for `itsMostRows` rows.
    Raster(const Plan& plan, std::vector<ChannelAtWork> itsInputs, std::size_t itsMostRows);

    /// Takes the next rows of the recording. The columns must remain valid until Make has used them.
    void Take(std::span<const Column> columns, std::size_t rows);
    /// Call it when the recording has ended.
    void End();
    bool HasEnded() const { return hasEnded; }

    /// Computes the next rows of the raster and returns how many. They are fewer than there is room for if the rows
    /// taken run out or the raster restarts. Throws Error for a step in time that the plan does not allow.
    std::size_t Make();
    /// Whether the rows of the last Make begin a new raster after a restart.
    bool IsRestart() const { return isRestart; }

    /// For each row of the last Make: the last row of the recording that it used, from 0.
    std::span<const std::uint64_t> Sources() const { return sources; }
    /// The row that the next rows will use, unless a later one comes first.
    std::uint64_t LastSource() const { return lastSource; }

    std::vector<Warning> FindWarnings() const;

private:
    /// How an input is resampled.
    enum class Way {
        Last,    ///< the last sample
        Line,    ///< linear interpolation between two samples
        Time,    ///< the time of the row
        WallTime ///< the local time of the row in a time zone
    };
    /// An input and its last sample.
    struct Track {
        ChannelAtWork input;
        Way way;
        SampleCell sample = {};
        double time = -std::numeric_limits<double>::infinity(); ///< of the sample
        bool isThere = false;
        bool isEnding = false; ///< a missing sample has followed, but one row of the raster may still use this one
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
    std::size_t given = 0;        ///< rows of the recording in `columns`
    std::size_t next = 0;         ///< the next of them
    std::uint64_t rowsBefore = 0; ///< rows of the recording before these
    std::optional<double> last;   ///< time of the last row used
    std::uint64_t lastSource = 0;
    bool hasEnded = false;
    double origin = 0;
    std::int64_t row = 0; ///< number of the raster's next row
    double lastMade = 0;  ///< time of the last row computed
    std::uint64_t madeBefore = 0;
    std::size_t made = 0;
    bool isRestart = false;
    std::vector<std::uint64_t> sources;
    Count outOfOrder;
    Count withoutTime;
    Count stale;
    Count unseen;
    std::uint64_t taken = 0; ///< rows of the recording used so far
};

} // namespace Vel::Engine
