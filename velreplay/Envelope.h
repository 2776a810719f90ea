// Summarizes a channel for a picture. Memory use does not grow with the recording.
#pragma once

#include "engine/Engine.h"
#include "page/PlotPlan.h"

#include <optional>
#include <vector>

namespace Velreplay {

/// The smallest and the largest sample of some consecutive rows, and whether samples are missing there.
struct Span {
    double x = 0;
    double smallest = 0;
    double largest = 0;
    bool hasSample = false;
    bool hasGap = false;
};

/// A channel over x as spans with equal numbers of rows. When there are too many spans, neighbours are merged.
class Envelope {
public:
    /// For the channels of the run with these indices. Ignores rows whose x is outside the extent.
    Envelope(const Vel::Engine::Run& itsRun, std::size_t itsX, std::size_t itsY, const Vel::Page::Extent& itsExtent)
        : run(itsRun), x(itsX), y(itsY), extent(itsExtent) {}

    void Take(std::size_t rows);
    const std::vector<Span>& Spans() const { return spans; }
    const Vel::ChannelType& Y() const { return run.Channels()[y]; }
    bool HasSample() const;
    /// Whether all samples are the integers 0 and 1.
    bool IsBoolean() const;

private:
    void Add(double at, std::optional<double> value);
    void Halve();

    const Vel::Engine::Run& run;
    std::size_t x;
    std::size_t y;
    Vel::Page::Extent extent;
    std::vector<Span> spans;
    std::size_t rowsPerSpan = 1;
    std::size_t rowsInLast = 0;
};

} // namespace Velreplay
