// The picture of a run: a plan's panels over a common axis, drawn by gnuplot.
#pragma once

#include "engine/Engine.h"
#include "page/PlotPlan.h"
#include "recordings/OutputFile.h"
#include "velreplay/Axis.h"
#include "velreplay/Envelope.h"
#include "velreplay/TimeTics.h"

#include <deque>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace Velreplay {

class Picture {
public:
    /// `itsName` is a file that ends in .svg or .png. Throws at once if anything would keep gnuplot from drawing it.
    Picture(std::string itsName, const Vel::Page::PlotPlan& itsPlan, const Vel::Engine::Run& run);

    /// Takes the rows of a block.
    void Take(std::size_t rows);
    /// Runs gnuplot, then gives the picture its final name.
    void Draw();

private:
    struct Panel {
        const Vel::Page::PanelPlan* plan;
        std::deque<Envelope> curves;
        bool IsBoolean() const;
        bool IsWhole() const;
        bool HasLegend() const { return curves.size() > 1 && !IsBoolean(); }
        double Lane(std::size_t curve) const;
        Axis YAxis() const;
        double TicPixels() const;
    };

    std::optional<std::pair<double, double>> XRange() const;
    void WriteXAxis(std::ostream& script, const Axis& x, const std::vector<Tic>& times, bool isLabelled) const;
    bool IsSvg() const { return name.ends_with(".svg"); }
    void WriteScript(std::ostream& script) const;
    static void WritePanel(std::ostream& script, const Panel& panel, const Axis& x, double left, double bottom,
                           double top);
    static void WriteLanes(std::ostream& script, const Panel& panel);
    static void WriteYRange(std::ostream& script, const Panel& panel, const Axis& y);
    static void WriteCurves(std::ostream& script, const Panel& panel, const Axis& x, const Axis& y);

    std::string name;
    std::optional<Vel::Recordings::OutputFile> file;
    const Vel::Page::PlotPlan& plan;
    std::deque<Panel> panels;
    bool isXWhole = false;
};

} // namespace Velreplay
