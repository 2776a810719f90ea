// What is to be computed: input channels, constants, computed channels, chosen result channels, the picture's panels.
#pragma once

#include "host/Channel.h"

#include <array>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace Velreplay {

/// A value as a plan says it: true or false, a whole number, a number, a list of pairs. Whole numbers that TOML does
/// not have, those from 2^63, stand in quotes.
using Value = std::variant<bool, std::int64_t, std::uint64_t, double, std::vector<std::array<double, 2>>>;

/// Input channels of the recording; computed channels are made from them.
struct InputPlan {
    std::string place;
    Channel channel;
};

/// A channel that is the same in every row: a value, or never a sample.
struct ConstantPlan {
    std::string place;
    Channel channel;
    AnySamples value; ///< its NoValue is the value
};

struct ComputationPlan {
    std::string place;
    std::string operation;
    std::vector<Channel> results;
    std::vector<std::string> operands;
    bool noValueAware = true;
    std::map<std::string, Value, std::less<>> parameters;
};

struct PanelPlan {
    std::string place;
    std::string title;
    std::string unit;
    std::vector<std::string> channels;
};

struct PicturePlan {
    std::string place;
    std::string title;
    std::string x;
    std::string xTitle;
    std::vector<PanelPlan> panels;
};

struct Plan {
    std::string file;
    std::vector<InputPlan> inputs;
    std::vector<ConstantPlan> constants;
    std::vector<ComputationPlan> computations;
    std::vector<std::string> output; ///< names; empty: all
    PicturePlan picture;
};

/// Reads a plan. Refuses what it does not know.
Plan ReadPlan(const std::string& file);

} // namespace Velreplay
