/// Summarizes channels for a page. Memory has a bound, however long the recording is.
#pragma once

#include "engine/Engine.h"
#include "page/PlotPlan.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace Vel::Page {

/// What there is among the rows of a bin, as bits.
enum Mark : std::uint8_t {
    hasSample = 1, ///< a finite one
    isMissing = 2,
    isRefused = 4,
    isInfinite = 8,
};

/// The least and the greatest sample of one channel in each bin.
class BinnedChannel {
public:
    virtual ~BinnedChannel() = default;
    virtual void Open() = 0;
    /// Adds the samples of these rows of the block to the last bin. `statuses` may be empty.
    virtual void Add(const Column& samples, std::span<const Status> statuses, std::span<const std::uint32_t> rows) = 0;
    virtual void Halve() = 0;
    virtual std::span<const std::byte> Least() const = 0;
    virtual std::span<const std::byte> Greatest() const = 0;
    /// Whether all samples are the integers 0 and 1.
    virtual bool IsBoolean() const = 0;
    std::span<const std::uint8_t> Marks() const { return marks; }

protected:
    std::vector<std::uint8_t> marks;
};

/// Channels over x, as bins of equal numbers of rows. When there are too many bins, neighbours are merged.
class Bins {
public:
    /// For the channels of the run with these indices. Without x the rows are numbered from 1. Leaves out rows whose x
    /// is outside the extent or has no finite sample.
    Bins(const Engine::Run& itsRun, std::optional<std::size_t> itsX, std::vector<std::size_t> itsChannels,
         const Extent& itsExtent, std::size_t itsMostBins);

    /// Takes the rows of the run's last block.
    void Take();
    /// Merges each two neighbours.
    void Halve();

    std::size_t Count() const { return first.size(); }
    std::uint64_t RowsPerBin() const { return rowsPerBin; }
    std::uint64_t Rows() const { return rows; }
    std::uint64_t RowsWithoutX() const { return rowsWithoutX; }
    std::uint64_t RowsOutside() const { return rowsOutside; }
    /// Whether x never goes back.
    bool IsSorted() const { return isSorted; }
    /// x of the first and of the last row of each bin.
    const std::vector<double>& First() const { return first; }
    const std::vector<double>& Last() const { return last; }
    const BinnedChannel& Of(std::size_t channel) const { return *binned[channel]; }

    /// How many bytes a bin takes for these channels, as they stand in memory and in a page.
    static std::size_t BytesPerBin(const Engine::Run& run, const std::vector<std::size_t>& channels);

private:
    void Choose();

    const Engine::Run& run;
    std::optional<std::size_t> x;
    std::vector<std::size_t> channels;
    std::vector<std::optional<std::size_t>> computations; ///< of each channel
    Extent extent;
    std::size_t mostBins;
    std::vector<double> first;
    std::vector<double> last;
    std::vector<std::unique_ptr<BinnedChannel>> binned;
    std::uint64_t rowsPerBin = 1;
    std::uint64_t rowsInLast = 1; ///< full, so that the first row opens a bin
    std::uint64_t rows = 0;
    std::uint64_t rowsSeen = 0; ///< of blocks
    std::uint64_t rowsWithoutX = 0;
    std::uint64_t rowsOutside = 0; ///< of the extent
    bool isSorted = true;
    double latest = -std::numeric_limits<double>::infinity(); ///< x
    std::vector<std::uint32_t> chosen;                        ///< rows of the block
    std::vector<double> chosenX;
};

} // namespace Vel::Page
