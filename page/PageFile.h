/// A result as a page: one HTML file that a browser opens from disk, with all that it needs inside.
#pragma once

#include "engine/Engine.h"
#include "page/Bins.h"
#include "page/PlotPlan.h"
#include "recordings/OutputFile.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vel::Page {

inline constexpr std::uint64_t defaultPageBytes = 20'000'000;

class PageFile {
public:
    /// For a run whose statuses are on, before its first block. The file, which ends in .html, takes at most so many
    /// bytes: a recording with more rows than fit is summarized. Without panels in the plan, each channel of the result
    /// gets one, and those that are only 0 and 1 share one. Throws Error for what would keep the page from being
    /// written. `itsPlot`, `itsPlan` and `run` must outlive this.
    PageFile(const std::string& name, std::uint64_t itsMostBytes, const PlotPlan& itsPlot, const Engine::Plan& itsPlan,
             const Engine::Run& itsRun);

    /// Takes the rows of the run's last block.
    void Take() { bins->Take(); }
    /// Writes the page with the text of a summary, then gives it its name.
    void Write(const std::string& summary);

private:
    std::string Json(const std::string& summary) const;
    std::vector<PanelPlan> Panels() const;
    std::string FormulaOf(std::size_t channel) const;
    std::uint64_t Bytes(const std::string& json) const;
    void WriteColumns();

    std::uint64_t mostBytes;
    const PlotPlan& plot;
    const Engine::Plan& plan;
    const Engine::Run& run;
    std::optional<std::size_t> x;
    std::vector<std::size_t> channels; ///< of the run
    std::optional<Bins> bins;
    std::optional<Recordings::OutputFile> file;
};

} // namespace Vel::Page
