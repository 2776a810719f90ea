// Tics for an axis of times.
#pragma once

#include "vocabulary/TimeForm.h"

#include <string>
#include <vector>

namespace Velreplay {

struct Tic {
    double at;
    std::string time; ///< time of day; empty if only days are shown
    std::string date; ///< empty if it is the same as at the tic before
};

/// Up to about ten round times in the form's time zone between two times. None if the times are outside the calendar.
std::vector<Tic> TimeTics(double lowest, double highest, const Vel::TimeForm& form);

/// "Europe/Berlin", "UTC"; empty for local time.
std::string ZoneName(const Vel::TimeForm& form);

} // namespace Velreplay
