/// How times are written in a column of texts.
#pragma once

#include <string>

namespace Vel {

/// A time is a Float64: the seconds since 2000-01-01 00:00:00 UTC, or since that moment on the clocks of a zone.
struct TimeForm {
    enum class Kind {
        Iso,     ///< 2024-03-31T01:59:59.5+02:00 and what ISO 8601 has beside it
        Pattern, ///< as strptime has it
        UnixSeconds,
        UnixMilliseconds,
    };

    Kind kind = Kind::Iso;
    std::string pattern = {}; ///< "%d.%m.%Y %H:%M:%S"; empty for the other kinds
    std::string zone = {};    ///< of texts without an offset, as the time-zone database calls it; empty: UTC
    bool isLocal = false;     ///< the times are what clocks in the zone show, not UTC
};

} // namespace Vel
