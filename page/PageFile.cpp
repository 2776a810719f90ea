#include "page/PageFile.h"

#include "page/Viewer.h"
#include "vocabulary/Error.h"
#include "vocabulary/Quote.h"

#include <absl/strings/escaping.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <filesystem>
#include <span>
#include <string_view>
#include <utility>

namespace Vel::Page {

namespace {

using nlohmann::json;

constexpr std::string_view beforeJson = "<script type=\"application/json\" id=\"recording\">";
constexpr std::string_view afterElement = "</script>\n";
constexpr std::uint64_t elementBytes = 80; // around a column's data, at most

/// Text in base64: four characters for three bytes.
std::uint64_t EncodedBytes(std::uint64_t bytes) { return (bytes + 2) / 3 * 4; }

std::string BeforeColumn(std::size_t column) {
    return "<script type=\"text/plain\" class=\"column\" id=\"column-" + std::to_string(column) + "\">";
}

/// Numbers as a page has them, with the least significant byte first.
std::string LittleEndian(std::span<const std::byte> numbers, std::size_t size) {
    std::string bytes(reinterpret_cast<const char*>(numbers.data()), numbers.size());
    if constexpr (std::endian::native == std::endian::big)
        for (std::size_t i = 0; i < bytes.size(); i += size)
            std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(i),
                         bytes.begin() + static_cast<std::ptrdiff_t>(i + size));
    return bytes;
}

/// JSON in which no text can end the element that it stands in.
std::string ForElement(const json& value) {
    const std::string text = value.dump(-1, ' ', false, json::error_handler_t::replace);
    std::string safe;
    for (const char character : text)
        if (character == '<')
            safe += "\\u003c";
        else
            safe += character;
    return safe;
}

} // namespace

PageFile::PageFile(const std::string& name, std::uint64_t itsMostBytes, const PlotPlan& itsPlot,
                   const Engine::Plan& itsPlan, const Engine::Run& itsRun)
    : mostBytes(itsMostBytes), plot(itsPlot), plan(itsPlan), run(itsRun) {
    if (!name.ends_with(".html"))
        throw Error(name, "a page is a file of HTML", "end the name with .html");
    if (Viewer().empty())
        throw Error(name, "this program was built without pages",
                    "where npm can fetch packages: make page, then build this again");
    CheckChannels(plot, run);
    if (!plot.x.empty())
        x = run.Find(plot.x, plot.place);
    const auto add = [this](std::size_t channel) {
        if (std::find(channels.begin(), channels.end(), channel) == channels.end())
            channels.push_back(channel);
    };
    for (const PanelPlan& panel : plot.panels)
        for (const std::string& channel : panel.channels)
            add(run.Find(channel, panel.place));
    if (plot.panels.empty())
        for (const std::size_t channel : run.Output())
            if (channel != x)
                add(channel);

    bins.emplace(run, x, channels, plot.extent, 1);
    const std::uint64_t otherBytes = Bytes(Json("")) + 4096; // and a summary
    const std::size_t bytesPerBin = Bins::BytesPerBin(run, channels);
    constexpr std::uint64_t leastBins = 64;
    const std::uint64_t least = otherBytes + EncodedBytes(leastBins * bytesPerBin);
    if (mostBytes < least)
        throw Error(name, "a page of " + std::to_string(mostBytes) + " bytes has no room for these channels",
                    "allow it at least " + std::to_string(least / 1000 + 1) + "kB, or show fewer channels");
    const std::uint64_t most = (mostBytes - otherBytes) / 4 * 3 / bytesPerBin / 2 * 2;
    bins.emplace(run, x, channels, plot.extent, static_cast<std::size_t>(most));
    file.emplace(name);
}

/// Those of the plan, or one for each channel.
std::vector<PanelPlan> PageFile::Panels() const {
    if (!plot.panels.empty())
        return plot.panels;
    std::vector<PanelPlan> panels;
    PanelPlan states;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const std::string& name = run.Channels()[channels[i]].name;
        if (bins->Of(i).IsBoolean())
            states.channels.push_back(name);
        else
            panels.push_back({"", "", plot.units.contains(name) ? plot.units.at(name) : "", {name}});
    }
    if (!states.channels.empty())
        panels.push_back(std::move(states));
    return panels;
}

std::string PageFile::FormulaOf(std::size_t channel) const {
    for (std::size_t i = 0; i < run.Computations(); ++i) {
        const auto [begin, count] = run.ResultsOf(i);
        if (channel < begin || channel >= begin + count)
            continue;
        const Engine::ComputationPlan& computation = plan.computations[i];
        if (!computation.formula.empty())
            return computation.formula;
        std::string call = computation.operation + "(";
        for (const std::string& operand : computation.operands)
            call.append(call.ends_with('(') ? "" : ", ").append(operand);
        return call + ")";
    }
    return {};
}

std::string PageFile::Json(const std::string& summary) const {
    const bool isSampled = bins->RowsPerBin() > 1;
    json columns = json::array();
    const auto column = [&columns](std::string_view type) {
        columns.push_back(type);
        return columns.size() - 1;
    };
    json axis{{"name", plot.x.empty() ? "row" : plot.x},
              {"title", plot.xTitle.empty() ? (plot.x.empty() ? "row" : plot.x) : plot.xTitle},
              {"time", nullptr},
              {"isSorted", bins->IsSorted()},
              {"isRow", plot.x.empty()},
              {"first", nullptr},
              {"last", nullptr}};
    if (x && plot.xTime)
        axis["time"] = {{"zone", plot.xTime->isLocal ? "" : plot.xTime->zone.empty() ? "UTC" : plot.xTime->zone}};
    axis["first"] = column("Float64");
    if (isSampled)
        axis["last"] = column("Float64");

    json entries = json::array();
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const ChannelType& channel = run.Channels()[channels[i]];
        json entry{{"name", channel.name},
                   {"type", channel.Type().name},
                   {"formula", FormulaOf(channels[i])},
                   {"isBoolean", bins->Of(i).IsBoolean()},
                   {"least", column(channel.Type().name)},
                   {"greatest", nullptr}};
        if (isSampled)
            entry["greatest"] = column(channel.Type().name);
        entry["marks"] = column("UInt8");
        entries.push_back(std::move(entry));
    }
    json panels = json::array();
    for (const PanelPlan& panel : Panels()) {
        json indices = json::array();
        for (const std::string& name : panel.channels)
            indices.push_back(std::find(channels.begin(), channels.end(), run.Find(name)) - channels.begin());
        panels.push_back({{"title", panel.title}, {"unit", panel.unit}, {"channels", std::move(indices)}});
    }
    const std::string planName = std::filesystem::path(plan.name).filename().string();
    return ForElement({{"format", 1},
                       {"title", plot.title.empty() ? planName : plot.title},
                       {"madeBy", "VelOperation " VEL_VERSION},
                       {"plan", {{"name", planName}, {"text", plan.text}}},
                       {"summary", summary},
                       {"rows", bins->Rows()},
                       {"rowsPerBin", bins->RowsPerBin()},
                       {"bins", bins->Count()},
                       {"rowsWithoutX", bins->RowsWithoutX()},
                       {"rowsOutside", bins->RowsOutside()},
                       {"x", std::move(axis)},
                       {"panels", std::move(panels)},
                       {"channels", std::move(entries)},
                       {"columns", std::move(columns)}});
}

/// Of the whole page, at most.
std::uint64_t PageFile::Bytes(const std::string& json) const {
    const std::uint64_t columns = 2 + 3 * channels.size();
    return Viewer().size() + json.size() + beforeJson.size() + afterElement.size() + columns * (elementBytes + 4) +
           EncodedBytes(bins->Count() * Bins::BytesPerBin(run, channels));
}

void PageFile::WriteColumns() {
    std::size_t next = 0;
    const auto write = [&](std::span<const std::byte> numbers, std::size_t size) {
        file->Write(BeforeColumn(next++));
        constexpr std::size_t piece = std::size_t{3} << 16; // without padding
        for (std::size_t at = 0; at < numbers.size(); at += piece)
            file->Write(
                absl::Base64Escape(LittleEndian(numbers.subspan(at, std::min(piece, numbers.size() - at)), size)));
        file->Write(afterElement);
    };
    const bool isSampled = bins->RowsPerBin() > 1;
    write(std::as_bytes(std::span(bins->First())), sizeof(double));
    if (isSampled)
        write(std::as_bytes(std::span(bins->Last())), sizeof(double));
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const BinnedChannel& channel = bins->Of(i);
        const std::size_t size = run.Channels()[channels[i]].Type().size;
        write(channel.Least(), size);
        if (isSampled)
            write(channel.Greatest(), size);
        write(std::as_bytes(channel.Marks()), 1);
    }
}

void PageFile::Write(const std::string& summary) {
    std::string json = Json(summary);
    while (Bytes(json) > mostBytes && bins->Count() > 1) { // a long summary
        bins->Halve();
        json = Json(summary);
    }
    const std::string_view viewer = Viewer();
    const std::size_t mark = viewer.find(dataMark);
    file->Write(viewer.substr(0, mark));
    file->Write(beforeJson);
    file->Write(json);
    file->Write(afterElement);
    WriteColumns();
    file->Write(viewer.substr(mark + dataMark.size()));
    file->Keep();
}

} // namespace Vel::Page
