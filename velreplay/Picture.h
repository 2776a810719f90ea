// The picture of a run: a plan's panels over a common axis, drawn by gnuplot.
#pragma once

#include "engine/Engine.h"
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

struct PanelPlan {
    std::string place;
    std::string title;
    std::string unit;
    std::vector<std::string> channels;
};

/// The plan's table "plot", which describes the picture.
struct PicturePlan {
    std::string place;
    std::string title;
    std::string x;
    std::string xTitle;
    std::optional<Vel::TimeForm> xTime; ///< if x holds times: their form
    Extent extent = {};                 ///< the part of x that is shown
    std::vector<PanelPlan> panels;
};

/// Throws Vel::Error for faults in the table. Without the table there are no panels.
PicturePlan ReadPicturePlan(const Vel::Engine::Plan& plan);

/// Limits the picture to the part of x between two numbers, or two times written as in the recording. Empty means no
/// bound. Throws Vel::Error.
void Bound(PicturePlan& plan, const std::string& from, const std::string& to);

/// Throws Vel::Error for unknown channels.
void CheckChannels(const PicturePlan& plan, const Vel::Engine::Run& run);

class Picture {
public:
    /// `itsName` is a file that ends in .svg or .png. Throws at once if anything would keep gnuplot from drawing it.
    Picture(std::string itsName, const PicturePlan& itsPlan, const Vel::Engine::Run& run);

    /// Takes the rows of a block.
    void Take(std::size_t rows);
    /// Runs gnuplot, then gives the picture its final name.
    void Draw();

private:
    struct Panel {
        const PanelPlan* plan;
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
    const PicturePlan& plan;
    std::deque<Panel> panels;
    bool isXWhole = false;
};

} // namespace Velreplay
