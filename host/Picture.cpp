#include "host/Picture.h"

#include "host/Failure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <ostream>
#include <sstream>

namespace Velreplay {

namespace {

constexpr int widthPixels = 1200;
constexpr int panelPixels = 190;
constexpr int lanePixels = 38; // of a boolean channel
constexpr int framePixels = 100;
constexpr double laneDistance = 1.5;
constexpr double mostCountedTics = 10; // of whole numbers: each has a tic up to here
constexpr std::array colours{"#0b5394", "#cc4125", "#38761d", "#b45f06", "#674ea7", "#45818e"};

/// A text for gnuplot, within double quotes.
std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\' || character == '`')
            quoted += '\\';
        if (static_cast<unsigned char>(character) >= ' ')
            quoted += character;
    }
    return quoted + '"';
}

/// An empty line breaks the curve. Steps keep a value until the next one.
void WriteCurve(std::ostream& script, const Envelope& curve, double offset) {
    for (const Span& span : curve.Spans()) {
        if (span.hasSample) {
            script << span.x << ' ' << span.smallest + offset << '\n';
            if (span.largest != span.smallest)
                script << span.x << ' ' << span.largest + offset << '\n';
        }
        if (span.hasGap)
            script << '\n';
    }
    script << "e\n";
}

} // namespace

bool Picture::Panel::IsWhole() const {
    return std::none_of(curves.begin(), curves.end(), [](const Envelope& curve) { return curve.Y().IsFloating(); });
}

/// Boolean channels lie one below the other.
double Picture::Panel::Lane(std::size_t curve) const {
    return laneDistance * static_cast<double>(curves.size() - 1 - curve);
}

std::pair<double, double> Picture::Panel::Range() const {
    double lowest = std::numeric_limits<double>::max();
    double highest = std::numeric_limits<double>::lowest();
    for (const Envelope& curve : curves)
        for (const Span& span : curve.Spans())
            if (span.hasSample && std::isfinite(span.smallest) && std::isfinite(span.largest)) {
                lowest = std::min(lowest, span.smallest);
                highest = std::max(highest, span.largest);
            }
    return lowest <= highest ? std::pair(lowest, highest) : std::pair(0.0, 1.0);
}

bool Picture::Panel::IsBoolean() const {
    return std::all_of(curves.begin(), curves.end(), [](const Envelope& curve) { return curve.IsBoolean(); });
}

Picture::Picture(std::string itsFile, const PicturePlan& itsPlan, Channels& channels)
    : file(std::move(itsFile)), plan(itsPlan) {
    if (!file.ends_with(".svg") && !file.ends_with(".png"))
        throw Failure(file, "a picture of this kind cannot be drawn", "end the name with .svg or .png");
    if (plan.panels.empty())
        throw Failure(file, "the plan says nothing about a picture",
                      "add: [plot] with x = \"...\", and [[plot.panels]] with channels = [\"...\"]");
    const Channel& x = channels.Find(plan.place, plan.x);
    for (const PanelPlan& panelPlan : plan.panels) {
        Panel& panel = panels.emplace_back(Panel{&panelPlan, {}});
        for (const Channel* const y : channels.FindAll(panelPlan.place, panelPlan.channels))
            panel.curves.emplace_back(x, *y);
        if (panel.curves.empty())
            throw Failure(panelPlan.place, "the panel has no channel", "add: channels = [\"...\"]");
    }
}

void Picture::Take(std::size_t rows) {
    for (Panel& panel : panels)
        for (Envelope& curve : panel.curves)
            curve.Take(rows);
}

void Picture::WriteScript(std::ostream& script) const {
    script.precision(9);
    std::vector<int> heights;
    int total = framePixels;
    for (const Panel& panel : panels) {
        heights.push_back(panel.IsBoolean() ? lanePixels * (static_cast<int>(panel.curves.size()) + 1) : panelPixels);
        total += heights.back();
    }
    script << "set terminal " << (file.ends_with(".svg") ? "svg" : "pngcairo") << " size " << widthPixels << ','
           << total << " font \"DejaVu Sans,11\" background \"#ffffff\"\n"
           << "set output " << Quoted(file) << "\nset encoding utf8\n"
           << "set multiplot title " << Quoted(plan.title) << " font \",14\" noenhanced\n"
           << "set lmargin at screen 0.11\nset rmargin at screen 0.84\n"
           << "set grid xtics ytics lc rgb \"#dddddd\" lt 1 lw 0.5\nset border lc rgb \"#666666\"\n"
           << "set tics textcolor rgb \"#222222\" nomirror\nset key at graph 1.01, graph 1 left top reverse Left "
              "noenhanced samplen 1.5\n";
    if (!panels.front().curves.front().Spans().empty())
        script << "set xrange [" << panels.front().curves.front().Spans().front().x << ':'
               << panels.front().curves.front().Spans().back().x << "]\n";
    double top = 1.0 - 0.45 * framePixels / total;
    for (std::size_t i = 0; i < panels.size(); ++i) {
        const double bottom = top - static_cast<double>(heights[i]) / total;
        WritePanel(script, i, bottom + 14.0 / total, top - 14.0 / total);
        top = bottom;
    }
    script << "unset multiplot\n";
}

void Picture::WritePanel(std::ostream& script, std::size_t index, double bottom, double top) const {
    const Panel& panel = panels[index];
    const bool isLast = index + 1 == panels.size();
    const bool isBoolean = panel.IsBoolean();
    script << "set bmargin at screen " << bottom << "\nset tmargin at screen " << top << '\n'
           << (isLast ? "set format x\nset xlabel " + Quoted(plan.xTitle) + " noenhanced\n" : "set format x \"\"\n")
           << "set ylabel "
           << Quoted(panel.plan->title + (panel.plan->unit.empty() ? "" : " [" + panel.plan->unit + "]"))
           << " noenhanced\n";
    if (isBoolean) {
        script << "unset key\nset yrange [-0.4:" << laneDistance * static_cast<double>(panel.curves.size()) << "]\n"
               << "set ytics (";
        for (std::size_t i = 0; i < panel.curves.size(); ++i)
            script << (i == 0 ? "" : ", ") << Quoted(panel.curves[i].Y().name) << ' ' << panel.Lane(i) + 0.5;
        script << ") noenhanced\n";
    } else {
        const auto [lowest, highest] = panel.Range();
        const double margin = highest > lowest ? 0.06 * (highest - lowest) : 1.0;
        const bool isCounted = panel.IsWhole() && highest - lowest <= mostCountedTics;
        script << (panel.curves.size() == 1 ? "unset key\n" : "set key\n") << "set yrange [" << lowest - margin << ':'
               << highest + margin << "]\nset ytics " << (isCounted ? "1" : "auto") << '\n';
    }
    script << "plot ";
    for (std::size_t i = 0; i < panel.curves.size(); ++i)
        script << (i == 0 ? "" : ", ") << "'-' with " << (panel.curves[i].Y().IsFloating() ? "lines" : "steps")
               << " lw 1.4 lc rgb \"" << colours[i % colours.size()] << "\" title " << Quoted(panel.curves[i].Y().name);
    script << '\n';
    for (std::size_t i = 0; i < panel.curves.size(); ++i)
        WriteCurve(script, panel.curves[i], isBoolean ? panel.Lane(i) : 0.0);
}

void Picture::Draw() const {
    std::ostringstream script;
    WriteScript(script);
    std::FILE* const gnuplot = popen("gnuplot", "w");
    const std::string text = script.str();
    const bool isWritten = gnuplot != nullptr && std::fwrite(text.data(), 1, text.size(), gnuplot) == text.size();
    const bool isDrawn = gnuplot != nullptr && pclose(gnuplot) == 0;
    if (!isWritten || !isDrawn)
        throw Failure(file, "gnuplot has not drawn the picture", "install it with: apt-get install gnuplot-nox");
}

} // namespace Velreplay
