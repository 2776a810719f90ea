// One run: a plan, a recording, a result.
#pragma once

#include "host/Recording.h"

#include <string>

namespace Velreplay {

struct Options {
    std::string plan;
    std::string recording = "-";
    std::string result = "-";
    std::string picture;
    CsvFormat format;
    bool withStatus = false;
    bool isQuiet = false;
};

/// Throws Failure. Returns whether the run came to its end: it may have been interrupted.
bool Replay(const Options& options);

} // namespace Velreplay
