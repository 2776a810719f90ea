/// Which filters double precision can compute.
#pragma once

#include "engine/Engine.h"
#include "vocabulary/Vocabulary.h"

namespace Vel::Engine {

/// False for a filter whose corners are too close to 0, to half the sample rate or to each other for its order.
/// Rounding the coefficients then moves the poles by about the distance between them: results would be off by a percent
/// or grow without bound. True for operations that are not filters.
bool IsComputable(const Operation& operation, const ParametersByName& parameters);

} // namespace Vel::Engine
