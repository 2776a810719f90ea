#include "velreplay/Picture.h"

#include "velreplay/Gnuplot.h"
#include "vocabulary/Error.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <ostream>
#include <sstream>
#include <utility>

namespace Velreplay {

namespace {

constexpr int widthPixels = 1200;
constexpr int panelPixels = 190;
constexpr int lanePixels = 38; // for a boolean channel
constexpr int framePixels = 100;
constexpr double labelPixels = 31; // from the numbers beside an axis to the middle of its label
constexpr double digitPixels = 7.5;
constexpr double laneDistance = 1.5;
constexpr double leastShareOfZero = 0.3; // of the largest value; above it an axis need not show 0
constexpr double mostCountedTics = 10;   // up to this many whole numbers have a tic each
constexpr double mostCountedTicsOfX = 20;
constexpr std::array colours{"#0b5394", "#cc4125", "#38761d", "#b45f06", "#674ea7", "#45818e"};

/// A text for gnuplot in double quotes.
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

/// An empty line breaks the curve. Before a gap a step lasts until the row that has no sample.
void WriteCurve(std::ostream& script, const Envelope& curve, const Axis& x, const Axis& y, double lane) {
    const bool isStep = !curve.Y().Type().isFloating;
    Span before;
    for (const Span& span : curve.Spans()) {
        if (isStep && !span.hasSample && before.hasSample && !before.hasGap)
            script << x.Shown(span.x) << ' ' << y.Shown(before.largest) + lane << '\n';
        before = span;
        if (span.hasSample) {
            script << x.Shown(span.x) << ' ' << y.Shown(span.smallest) + lane << '\n';
            if (span.largest != span.smallest)
                script << x.Shown(span.x) << ' ' << y.Shown(span.largest) + lane << '\n';
        }
        if (span.hasGap)
            script << '\n';
    }
    script << "e\n";
}

/// Samples between gaps, which a line would not show.
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

void WriteDots(std::ostream& script, const std::vector<Span>& samples, const Axis& x, const Axis& y, double lane) {
    for (const Span& sample : samples)
        script << x.Shown(sample.x) << ' ' << y.Shown(sample.smallest) + lane << '\n';
    script << "e\n";
}

/// The range of the axis plus a margin. It starts exactly at 0 if all numbers are on one side of 0 and near it.
std::pair<double, double> WithMargin(const Axis& axis) {
    const double lowest = axis.Lowest();
    const double highest = axis.Highest();
    const double margin = 0.06 * (highest - lowest);
    const double bottom =
        !axis.HasOffset() && lowest >= 0 && lowest <= leastShareOfZero * highest ? 0 : lowest - margin;
    const double top = !axis.HasOffset() && highest <= 0 && highest >= leastShareOfZero * lowest ? 0 : highest + margin;
    return {bottom, top};
}

/// gnuplot does not always report that it could not write the whole file.
bool IsWhole(std::string_view picture, bool isSvg) {
    if (!isSvg)
        return picture.ends_with("IEND\xAE\x42\x60\x82");
    const std::size_t last = picture.find_last_not_of(" \r\n");
    return last != std::string_view::npos && picture.substr(0, last + 1).ends_with("</svg>");
}

} // namespace

bool Picture::Panel::IsWhole() const {
    return std::none_of(curves.begin(), curves.end(),
                        [](const Envelope& curve) { return curve.Y().Type().isFloating; });
}

bool Picture::Panel::IsBoolean() const {
    return std::all_of(curves.begin(), curves.end(), [](const Envelope& curve) { return curve.IsBoolean(); });
}

/// Boolean channels are drawn one below the other.
double Picture::Panel::Lane(std::size_t curve) const {
    return laneDistance * static_cast<double>(curves.size() - 1 - curve);
}

Axis Picture::Panel::YAxis() const {
    double lowest = std::numeric_limits<double>::max();
    double highest = std::numeric_limits<double>::lowest();
    for (const Envelope& curve : curves)
        for (const Span& span : curve.Spans())
            if (span.hasSample) {
                lowest = std::min(lowest, span.smallest);
                highest = std::max(highest, span.largest);
            }
    return lowest <= highest ? Axis(lowest, highest) : Axis(0, 1);
}

/// The approximate width of the labels beside the axis.
double Picture::Panel::TicPixels() const {
    std::size_t characters = 0;
    if (IsBoolean()) {
        for (const Envelope& curve : curves)
            characters = std::max(characters, curve.Y().name.size());
    } else {
        const auto [bottom, top] = WithMargin(YAxis());
        const double ticsDistance = (top - bottom) / 5;
        const double largest = std::max(std::abs(bottom), std::abs(top));
        const auto decimals = static_cast<std::size_t>(std::max(0.0, -std::floor(std::log10(ticsDistance))));
        const auto whole = static_cast<std::size_t>(std::max(0.0, std::floor(std::log10(largest)))) + 1;
        characters = whole + (decimals == 0 ? 0 : decimals + 1) + (bottom < 0 ? 1 : 0);
    }
    constexpr std::size_t most = 40;
    return digitPixels * static_cast<double>(std::min(characters, most));
}

Picture::Picture(std::string itsName, const Vel::Page::PlotPlan& itsPlan, const Vel::Engine::Run& run)
    : name(std::move(itsName)), plan(itsPlan) {
    if (!IsSvg() && !name.ends_with(".png"))
        throw Vel::Error(name, "a picture of this kind cannot be drawn", "end the name with .svg or .png");
    if (plan.panels.empty())
        throw Vel::Error(name, "the plan says nothing about a picture",
                         R"(add: [plot] with x = "...", and [[plot.panels]] with channels = ["..."])");
    const std::size_t x = run.Find(plan.x, plan.place);
    isXWhole = !run.Channels()[x].Type().isFloating;
    for (const Vel::Page::PanelPlan& panelPlan : plan.panels) {
        Panel& panel = panels.emplace_back(Panel{&panelPlan, {}});
        for (const std::string& y : panelPlan.channels)
            panel.curves.emplace_back(run, x, run.Find(y, panelPlan.place), plan.extent);
    }
    if (!IsGnuplotInstalled())
        throw Vel::Error(name, "gnuplot, which draws pictures, cannot be run",
                         "install it with: apt-get install gnuplot-nox");
    file.emplace(name);
}

void Picture::Take(std::size_t rows) {
    for (Panel& panel : panels)
        for (Envelope& curve : panel.curves)
            curve.Take(rows);
}

void Picture::WriteScript(std::ostream& script) const {
    script.precision(12);
    std::vector<int> heights;
    int total = framePixels;
    double left = 0;
    for (const Panel& panel : panels) {
        left = std::max(left, panel.TicPixels() + 2 * labelPixels);
        heights.push_back(panel.IsBoolean() ? lanePixels * (static_cast<int>(panel.curves.size()) + 1) : panelPixels);
        total += heights.back();
    }
    const bool hasLegend = std::any_of(panels.begin(), panels.end(), [](const Panel& p) { return p.HasLegend(); });
    script << "set terminal " << (IsSvg() ? "svg" : "pngcairo") << " size " << widthPixels << ',' << total
           << " font \"DejaVu Sans,11\" background \"#ffffff\"\n"
           << "set encoding utf8\n"
           << "set multiplot title " << Quoted(plan.title) << " font \",14\" noenhanced\n"
           << "set lmargin at screen " << left / widthPixels << "\nset rmargin at screen " << (hasLegend ? 0.84 : 0.97)
           << '\n'
           << R"(set grid xtics ytics lc rgb "#dddddd" lt 1 lw 0.5
set border lc rgb "#666666"
set tics textcolor rgb "#222222" nomirror
set key at graph 1.01, graph 1 left top reverse Left noenhanced samplen 1.5
)";
    const auto range = XRange();
    const Axis x = range ? Axis(range->first, range->second) : Axis(0, 1);
    const std::vector<Tic> times =
        range && plan.xTime ? TimeTics(range->first, range->second, *plan.xTime) : std::vector<Tic>();
    script << "set xrange [" << x.Lowest() << ':' << x.Highest() << "]\n";
    double top = 1.0 - 0.45 * framePixels / total;
    for (std::size_t i = 0; i < panels.size(); ++i) {
        WriteXAxis(script, x, times, i + 1 == panels.size());
        const double bottom = top - static_cast<double>(heights[i]) / total;
        WritePanel(script, panels[i], x, left, bottom + 14.0 / total, top - 14.0 / total);
        top = bottom;
    }
    script << "unset multiplot\n";
}

/// Only the lowest panel has labels. Times get their own tics.
void Picture::WriteXAxis(std::ostream& script, const Axis& x, const std::vector<Tic>& times, bool isLabelled) const {
    const std::string title = plan.xTitle.empty() ? plan.x : plan.xTitle;
    if (times.empty()) {
        const bool isCounted = isXWhole && x.Highest() - x.Lowest() <= mostCountedTicsOfX;
        script << "set xtics " << (isCounted ? "1" : "auto") << "\nset format x" << (isLabelled ? "" : " \"\"") << '\n';
        if (isLabelled)
            script << "set xlabel " << Quoted(x.Label(title, plan.x)) << " noenhanced\n";
        return;
    }
    script << "set xtics (";
    for (const Tic& tic : times) {
        const std::string between = tic.time.empty() || tic.date.empty() ? "" : "\\n";
        script << (&tic == times.data() ? "" : ", ") << '"' << (isLabelled ? tic.time + between + tic.date : "")
               << "\" " << x.Shown(tic.at);
    }
    script << ")\n";
    const std::string zone = ZoneName(*plan.xTime);
    if (isLabelled) // below the dates
        script << "set xlabel " << Quoted(zone.empty() ? title : title + " (" + zone + ")")
               << " offset 0,-0.7 noenhanced\n";
}

/// All panels share one range. A recording without rows has none.
std::optional<std::pair<double, double>> Picture::XRange() const {
    const std::vector<Span>& spans = panels.front().curves.front().Spans();
    if (spans.empty())
        return {};
    const auto [first, last] =
        std::minmax_element(spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.x < b.x; });
    return std::pair(first->x, last->x);
}

void Picture::WritePanel(std::ostream& script, const Panel& panel, const Axis& x, double left, double bottom,
                         double top) {
    const Axis y = panel.IsBoolean() ? Axis(0, 1) : panel.YAxis();
    const bool isNamed = !panel.plan->title.empty() || panel.IsBoolean() || panel.HasLegend();
    const std::string title = isNamed ? panel.plan->title : panel.curves.front().Y().name;
    const std::string unit = panel.plan->unit.empty() ? "" : " [" + panel.plan->unit + "]";
    script << "set bmargin at screen " << bottom << "\nset tmargin at screen " << top << '\n'
           << "set label 1 " << Quoted(y.Label(title + unit, "value")) << " at screen "
           << (left - panel.TicPixels() - labelPixels) / widthPixels << ", screen " << (bottom + top) / 2
           << " center rotate by 90 noenhanced\n"
           << (panel.HasLegend() ? "set key\n" : "unset key\n");
    if (panel.IsBoolean())
        WriteLanes(script, panel);
    else
        WriteYRange(script, panel, y);
    WriteCurves(script, panel, x, y);
}

void Picture::WriteLanes(std::ostream& script, const Panel& panel) {
    script << "set yrange [-0.4:" << laneDistance * static_cast<double>(panel.curves.size()) << "]\nset ytics (";
    for (std::size_t i = 0; i < panel.curves.size(); ++i)
        script << (i == 0 ? "" : ", ") << Quoted(panel.curves[i].Y().name) << ' ' << panel.Lane(i) + 0.5;
    script << ") noenhanced\n";
}

void Picture::WriteYRange(std::ostream& script, const Panel& panel, const Axis& y) {
    const auto [bottom, top] = WithMargin(y);
    const bool isCounted = panel.IsWhole() && y.Highest() - y.Lowest() <= mostCountedTics;
    script << "set yrange [" << bottom << ':' << top << "]\nset ytics " << (isCounted ? "1" : "auto") << '\n';
}

/// gnuplot rejects data without a point, but accepts a function that is undefined everywhere.
void Picture::WriteCurves(std::ostream& script, const Panel& panel, const Axis& x, const Axis& y) {
    script << "plot ";
    std::ostringstream data;
    data.precision(script.precision());
    for (std::size_t i = 0; i < panel.curves.size(); ++i) {
        const Envelope& curve = panel.curves[i];
        const double lane = panel.IsBoolean() ? panel.Lane(i) : 0.0;
        const std::string colour = " lc rgb " + Quoted(colours[i % colours.size()]);
        script << (i == 0 ? "" : ", ") << (curve.HasSample() ? "'-'" : "NaN") << " with "
               << (curve.Y().Type().isFloating ? "lines" : "steps") << " lw 1.4" << colour << " title "
               << Quoted(curve.Y().name);
        if (curve.HasSample())
            WriteCurve(data, curve, x, y, lane);
        if (const std::vector<Span> lone = LoneSamples(curve); !lone.empty()) {
            script << ", '-' with points pt 7 ps 0.3" << colour << " notitle";
            WriteDots(data, lone, x, y, lane);
        }
    }
    script << '\n' << data.str();
}

void Picture::Draw() {
    std::ostringstream script;
    WriteScript(script);
    const std::string picture = RunGnuplot(script.str());
    if (!IsWhole(picture, IsSvg()))
        throw Vel::Error(name, "gnuplot has not drawn the picture",
                         "its message above tells why; the result is complete");
    file->Write(picture);
    file->Keep();
}

} // namespace Velreplay
