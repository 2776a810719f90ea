// One run: a plan, a recording, a result.
#pragma once

#include "recordings/CsvReader.h"

#include <string>

namespace Velreplay {

struct Options {
    std::string plan;
    std::string recording = "-";
    std::string result = "-";
    std::string picture;
    Vel::Recordings::CsvFormat format;
    bool withStatus = false;
    bool isQuiet = false;
};

/// Throws Vel::Error. Returns whether the run came to its end: it may have been interrupted.
bool Replay(const Options& options);

} // namespace Velreplay
