#include "velreplay/Picture.h"

#include "vocabulary/Error.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <ostream>
#include <sstream>

#include <unistd.h>

namespace Velreplay {

namespace {

constexpr int widthPixels = 1200;
constexpr int panelPixels = 190;
constexpr int lanePixels = 38; // of a boolean channel
constexpr int framePixels = 100;
constexpr double laneDistance = 1.5;
constexpr double leastShareOfZero = 0.3; // of the largest value: from there on an axis need not show 0
constexpr double mostCountedTics = 10;   // of whole numbers: each has a tic up to here
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

/// An empty line breaks the curve.
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

/// Samples between gaps, of which a line shows nothing.
std::vector<Span> LoneSamples(const Envelope& curve) {
    std::vector<Span> lone;
    const std::vector<Span>& spans = curve.Spans();
    for (std::size_t i = 0; i < spans.size(); ++i) {
        const bool isBegin = i == 0 || spans[i - 1].hasGap;
        const bool isEnd = i + 1 == spans.size() || spans[i].hasGap || spans[i + 1].hasGap;
        if (spans[i].hasSample && isBegin && isEnd)
            lone.push_back(spans[i]);
    }
    return lone;
}

void WriteDots(std::ostream& script, const std::vector<Span>& samples, double offset) {
    for (const Span& sample : samples)
        script << sample.x << ' ' << sample.smallest + offset << '\n';
    script << "e\n";
}

bool IsGnuplotInstalled() {
    std::FILE* const answer = popen("gnuplot --version >/dev/null 2>&1", "r");
    return answer != nullptr && pclose(answer) == 0;
}

/// Somewhat more than from the lowest to the highest, and exactly from 0 where all lies on one side of it and not far.
std::pair<double, double> WithMargin(double lowest, double highest) {
    const double margin = highest > lowest ? 0.06 * (highest - lowest) : 1.0;
    const double bottom = lowest >= 0 && lowest <= leastShareOfZero * highest ? 0 : lowest - margin;
    const double top = highest <= 0 && highest >= leastShareOfZero * lowest && lowest < 0 ? 0 : highest + margin;
    return {bottom, top};
}

} // namespace

PicturePlan ReadPicturePlan(const Vel::Engine::Plan& plan) {
    PicturePlan picture;
    const auto found = plan.sections.find("plot");
    if (found == plan.sections.end())
        return picture;
    const Vel::Engine::Section& section = found->second;
    section.Allow({"title", "x", "x_title", "panels"});
    picture.place = section.Place();
    picture.title = section.Text("title").value_or("");
    picture.x = section.NeededText("x");
    picture.xTitle = section.Text("x_title").value_or("");
    for (const Vel::Engine::Section& panel : section.Tables("panels")) {
        panel.Allow({"title", "unit", "channels"});
        picture.panels.push_back({panel.Place(), panel.Text("title").value_or(""), panel.Text("unit").value_or(""),
                                  panel.Texts("channels")});
    }
    return picture;
}

bool Picture::Panel::IsWhole() const {
    return std::none_of(curves.begin(), curves.end(),
                        [](const Envelope& curve) { return curve.Y().Type().isFloating; });
}

bool Picture::Panel::IsBoolean() const {
    return std::all_of(curves.begin(), curves.end(), [](const Envelope& curve) { return curve.IsBoolean(); });
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
            if (span.hasSample) {
                lowest = std::min(lowest, span.smallest);
                highest = std::max(highest, span.largest);
            }
    return lowest <= highest ? std::pair(lowest, highest) : std::pair(0.0, 1.0);
}

Picture::Picture(std::string itsFile, const PicturePlan& itsPlan, const Vel::Engine::Run& run)
    : file(std::move(itsFile)), replacement(file), plan(itsPlan) {
    if (!file.ends_with(".svg") && !file.ends_with(".png"))
        throw Vel::Error(file, "a picture of this kind cannot be drawn", "end the name with .svg or .png");
    if (plan.panels.empty())
        throw Vel::Error(file, "the plan says nothing about a picture",
                         R"(add: [plot] with x = "...", and [[plot.panels]] with channels = ["..."])");
    const std::size_t x = run.Find(plan.x, plan.place);
    for (const PanelPlan& panelPlan : plan.panels) {
        Panel& panel = panels.emplace_back(Panel{&panelPlan, {}});
        for (const std::string& y : panelPlan.channels)
            panel.curves.emplace_back(run, x, run.Find(y, panelPlan.place));
        if (panel.curves.empty())
            throw Vel::Error(panelPlan.place, "the panel has no channel", R"(add: channels = ["..."])");
    }
    if (!IsGnuplotInstalled())
        throw Vel::Error(file, "gnuplot, which draws pictures, cannot be run",
                         "install it with: apt-get install gnuplot-nox");
    close(Vel::Recordings::OpenForWriting(replacement.PartName()));
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
    const bool hasLegend = std::any_of(panels.begin(), panels.end(), [](const Panel& p) { return p.HasLegend(); });
    script << "set terminal " << (file.ends_with(".svg") ? "svg" : "pngcairo") << " size " << widthPixels << ','
           << total << " font \"DejaVu Sans,11\" background \"#ffffff\"\n"
           << "set output " << Quoted(replacement.PartName()) << "\nset encoding utf8\n"
           << "set multiplot title " << Quoted(plan.title) << " font \",14\" noenhanced\n"
           << "set lmargin at screen 0.11\nset rmargin at screen " << (hasLegend ? 0.84 : 0.97) << '\n'
           << R"(set grid xtics ytics lc rgb "#dddddd" lt 1 lw 0.5
set border lc rgb "#666666"
set tics textcolor rgb "#222222" nomirror
set key at graph 1.01, graph 1 left top reverse Left noenhanced samplen 1.5
)";
    WriteXRange(script);
    double top = 1.0 - 0.45 * framePixels / total;
    for (std::size_t i = 0; i < panels.size(); ++i) {
        if (i + 1 == panels.size())
            script << "set format x\nset xlabel " << Quoted(plan.xTitle) << " noenhanced\n";
        else
            script << "set format x \"\"\n";
        const double bottom = top - static_cast<double>(heights[i]) / total;
        WritePanel(script, panels[i], bottom + 14.0 / total, top - 14.0 / total);
        top = bottom;
    }
    script << "unset multiplot\n";
}

/// The same for all panels. Nothing for a recording without rows, which would be no range.
void Picture::WriteXRange(std::ostream& script) const {
    const std::vector<Span>& spans = panels.front().curves.front().Spans();
    const auto [first, last] =
        std::minmax_element(spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.x < b.x; });
    if (spans.empty())
        script << "set xrange [0:1]\n";
    else if (first->x == last->x)
        script << "set xrange [" << first->x - 1 << ':' << last->x + 1 << "]\n";
    else
        script << "set xrange [" << first->x << ':' << last->x << "]\n";
}

/// The labels stand in one line, however wide the numbers beside them are.
void Picture::WritePanel(std::ostream& script, const Panel& panel, double bottom, double top) {
    const std::string unit = panel.plan->unit.empty() ? "" : " [" + panel.plan->unit + "]";
    script << "set bmargin at screen " << bottom << "\nset tmargin at screen " << top << '\n'
           << "set label 1 " << Quoted(panel.plan->title + unit) << " at screen 0.016, screen " << (bottom + top) / 2
           << " center rotate by 90 noenhanced\n"
           << (panel.HasLegend() ? "set key\n" : "unset key\n");
    if (panel.IsBoolean())
        WriteLanes(script, panel);
    else
        WriteYRange(script, panel);
    WriteCurves(script, panel);
}

void Picture::WriteLanes(std::ostream& script, const Panel& panel) {
    script << "set yrange [-0.4:" << laneDistance * static_cast<double>(panel.curves.size()) << "]\nset ytics (";
    for (std::size_t i = 0; i < panel.curves.size(); ++i)
        script << (i == 0 ? "" : ", ") << Quoted(panel.curves[i].Y().name) << ' ' << panel.Lane(i) + 0.5;
    script << ") noenhanced\n";
}

void Picture::WriteYRange(std::ostream& script, const Panel& panel) {
    const auto [lowest, highest] = panel.Range();
    const auto [bottom, top] = WithMargin(lowest, highest);
    const bool isCounted = panel.IsWhole() && highest - lowest <= mostCountedTics;
    script << "set yrange [" << bottom << ':' << top << "]\nset ytics " << (isCounted ? "1" : "auto") << '\n';
}

/// gnuplot complains about data without a point, but draws a function that is nowhere.
void Picture::WriteCurves(std::ostream& script, const Panel& panel) {
    script << "plot ";
    std::ostringstream data;
    data.precision(script.precision());
    for (std::size_t i = 0; i < panel.curves.size(); ++i) {
        const Envelope& curve = panel.curves[i];
        const double offset = panel.IsBoolean() ? panel.Lane(i) : 0.0;
        const std::string colour = " lc rgb " + Quoted(colours[i % colours.size()]);
        script << (i == 0 ? "" : ", ") << (curve.HasSample() ? "'-'" : "NaN") << " with "
               << (curve.Y().Type().isFloating ? "lines" : "steps") << " lw 1.4" << colour << " title "
               << Quoted(curve.Y().name);
        if (curve.HasSample())
            WriteCurve(data, curve, offset);
        if (const std::vector<Span> lone = LoneSamples(curve); !lone.empty()) {
            script << ", '-' with points pt 7 ps 0.3" << colour << " notitle";
            WriteDots(data, lone, offset);
        }
    }
    script << '\n' << data.str();
}

void Picture::Draw() {
    std::ostringstream script;
    WriteScript(script);
    std::FILE* const gnuplot = popen("gnuplot", "w");
    const std::string text = script.str();
    const bool isWritten = gnuplot != nullptr && std::fwrite(text.data(), 1, text.size(), gnuplot) == text.size();
    const bool isDrawn = gnuplot != nullptr && pclose(gnuplot) == 0;
    if (!isWritten || !isDrawn)
        throw Vel::Error(file, "gnuplot has not drawn the picture",
                         "its message above tells why; the result is complete");
    replacement.Keep();
}

} // namespace Velreplay
