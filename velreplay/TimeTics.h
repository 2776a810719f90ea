// What an axis of times shows in the place of numbers.
#pragma once

#include "vocabulary/TimeForm.h"

#include <string>
#include <vector>

namespace Velreplay {

struct Tic {
    double at;
    std::string time; ///< of day; empty where only days are shown
    std::string date; ///< where it is another one than at the tic before
};

/// Round times of the form's zone between two times: up to about ten. None for times that no calendar has.
std::vector<Tic> TimeTics(double lowest, double highest, const Vel::TimeForm& form);

/// "Europe/Berlin", "UTC"; empty for what clocks on the wall show.
std::string ZoneName(const Vel::TimeForm& form);

} // namespace Velreplay
