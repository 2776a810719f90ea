#include "page/PlotPlan.h"

#include "recordings/Numbers.h"
#include "recordings/Times.h"

#include <algorithm>
#include <cmath>

namespace Vel::Page {

PlotPlan ReadPlotPlan(const Engine::Plan& plan) {
    PlotPlan plot;
    const auto found = plan.sections.find("plot");
    if (found == plan.sections.end()) {
        plot.place = plan.name;
        const auto time = std::find_if(plan.inputs.begin(), plan.inputs.end(),
                                       [](const Engine::InputPlan& input) { return input.time.has_value(); });
        if (time != plan.inputs.end())
            plot.x = time->channel.name;
    } else {
        const Engine::Section& section = found->second;
        section.Allow({"title", "x", "x_title", "panels"});
        plot.place = section.Place();
        plot.title = section.Text("title").value_or("");
        plot.x = section.NeededText("x");
        plot.xTitle = section.Text("x_title").value_or("");
        for (const Engine::Section& panel : section.Tables("panels")) {
            panel.Allow({"title", "unit", "channels"});
            plot.panels.push_back({panel.Place(), panel.Text("title").value_or(""), panel.Text("unit").value_or(""),
                                   panel.Texts("channels")});
            if (plot.panels.back().channels.empty())
                throw Error(panel.Place(), "the panel has no channel", R"(add: channels = ["..."])");
        }
    }
    for (const Engine::InputPlan& input : plan.inputs)
        if (input.channel.name == plot.x)
            plot.xTime = input.time;
    return plot;
}

void Bound(PlotPlan& plan, const std::string& from, const std::string& to, const std::string& fromName,
           const std::string& toName) {
    const auto read = [&plan](const std::string& option, const std::string& text, double& bound) {
        if (text.empty())
            return;
        if (plan.xTime) {
            Recordings::TimeReader reader(*plan.xTime, plan.place);
            if (reader.Read(text, bound) != Recordings::TimeFault::None)
                throw Error(option, Quoted(text) + reader.ExplainLast(), "write it as in the recording");
        } else if (Recordings::ReadNumber(text, bound) != std::errc() || std::isnan(bound)) {
            throw Error(option, Quoted(text) + " is no number",
                        "write a number of the axis, " +
                            (plan.x.empty() ? "which counts rows" : "the channel " + Quoted(plan.x)));
        }
    };
    read(fromName, from, plan.extent.from);
    read(toName, to, plan.extent.to);
    if (!(plan.extent.from < plan.extent.to))
        throw Error(toName, "what is to be shown ends before it begins", "choose a " + toName + " above " + fromName);
}

void CheckChannels(const PlotPlan& plan, const Engine::Run& run) {
    if (!plan.x.empty())
        run.Find(plan.x, plan.place);
    for (const PanelPlan& panel : plan.panels)
        for (const std::string& channel : panel.channels)
            run.Find(channel, panel.place);
}

void AddUnits(PlotPlan& plot, const Engine::Plan& plan, const std::function<std::string(std::size_t input)>& unitOf) {
    for (std::size_t input = 0; input < plan.inputs.size(); ++input)
        if (const std::string unit = unitOf(input); !plan.inputs[input].time && !unit.empty())
            plot.units[plan.inputs[input].channel.name] = unit;
    const auto unitOfChannel = [&plot](const std::string& name) {
        const auto found = plot.units.find(name);
        return found == plot.units.end() ? std::string() : found->second;
    };
    if (const std::string unit = unitOfChannel(plot.x); !unit.empty() && plot.xTitle.empty())
        plot.xTitle = plot.x + " [" + unit + "]";
    for (PanelPlan& panel : plot.panels) {
        const std::string unit = unitOfChannel(panel.channels.front());
        if (panel.unit.empty() && std::all_of(panel.channels.begin(), panel.channels.end(),
                                              [&](const auto& channel) { return unitOfChannel(channel) == unit; }))
            panel.unit = unit;
    }
}

} // namespace Vel::Page
