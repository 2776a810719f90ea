/// What a plan's table [plot] says about the picture or the page of a result.
#pragma once

#include "engine/Engine.h"

#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Vel::Page {

/// A part of an axis, including both ends.
struct Extent {
    double from = -std::numeric_limits<double>::infinity();
    double to = std::numeric_limits<double>::infinity();
};

struct PanelPlan {
    std::string place;
    std::string title;
    std::string unit;
    std::vector<std::string> channels;
};

struct PlotPlan {
    std::string place;
    std::string title;
    std::string x; ///< a channel; empty: the number of the row
    std::string xTitle;
    std::optional<TimeForm> xTime;                              ///< if x holds times: their form
    Extent extent = {};                                         ///< the part of x that is shown
    std::vector<PanelPlan> panels;                              ///< none if the plan has no such table
    std::map<std::string, std::string, std::less<>> units = {}; ///< of inputs, by name, where the recording has them
};

/// Throws Error for faults in the table. Without the table there are no panels, and x is the first input with times.
PlotPlan ReadPlotPlan(const Engine::Plan& plan);

/// Limits the axis to the part of x between two numbers, or two times written as in the recording. Empty means no
/// bound. Throws Error.
void Bound(PlotPlan& plan, const std::string& from, const std::string& to, const std::string& fromName = "--from",
           const std::string& toName = "--to");

/// Throws Error for unknown channels.
void CheckChannels(const PlotPlan& plan, const Engine::Run& run);

/// Adds the units of the recording where the plan says none. `unitOf` tells the unit of an input; empty: unknown. Times
/// and computed channels have none.
void AddUnits(PlotPlan& plot, const Engine::Plan& plan, const std::function<std::string(std::size_t input)>& unitOf);

} // namespace Vel::Page
