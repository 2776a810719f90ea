// One run: a plan, a recording in one file or several, a result.
#pragma once

#include "engine/Engine.h"
#include "page/PageFile.h"
#include "recordings/FormatOptions.h"

#include <string>
#include <vector>

namespace Velreplay {

struct Options {
    std::string plan;
    std::vector<std::string> recordings{"-"}; ///< the parts of one recording
    std::string result = "-";
    std::string picture;
    std::string page;
    std::uint64_t pageBytes = Vel::Page::defaultPageBytes;
    std::string from; ///< the part of the axis that picture and page show; empty: no bound
    std::string to;
    Vel::Engine::ParametersByName settings; ///< that replace those of the plan
    std::string settingsText;               ///< the same, for people
    Vel::Recordings::FormatOptions format;
    bool withStatus = false;
    bool isQuiet = false;
    bool isStrict = false;
    std::uint64_t tracedRow = 0; ///< from 1
    std::string tracedChannel;
};

enum class Outcome { Done, Interrupted, HasWarnings };

/// Reads, computes and writes. Throws Vel::Error. Warnings are an outcome only where they are errors.
Outcome Replay(const Options& options);

/// Says whether a plan is right, without a recording. Throws Vel::Error if not.
Outcome Check(const Options& options);

/// Shows how a channel came to its sample of one row.
Outcome Trace(const Options& options);

} // namespace Velreplay
