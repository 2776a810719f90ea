// The picture of a run: a plan's panels over a common axis, drawn by gnuplot.
#pragma once

#include "host/Channels.h"
#include "host/Envelope.h"
#include "host/Plan.h"

#include <deque>
#include <iosfwd>
#include <string>
#include <vector>

namespace Velreplay {

class Picture {
public:
    /// A file with the ending .svg or .png.
    Picture(std::string itsFile, const PicturePlan& itsPlan, Channels& channels);

    /// Takes the rows of a block.
    void Take(std::size_t rows);
    /// Runs gnuplot.
    void Draw() const;

private:
    struct Panel {
        const PanelPlan* plan;
        std::deque<Envelope> curves;
        bool IsBoolean() const;
    };

    void WriteScript(std::ostream& script) const;
    void WritePanel(std::ostream& script, std::size_t index, double bottom, double top) const;

    std::string file;
    const PicturePlan& plan;
    std::deque<Panel> panels;
};

} // namespace Velreplay
