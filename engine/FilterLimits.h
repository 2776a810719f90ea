/// Which filters double precision can compute.
#pragma once

#include "engine/Engine.h"
#include "vocabulary/Vocabulary.h"

namespace Vel::Engine {

/// False for a filter whose corners are so near to 0, to half the rate or to each other, for its order, that the
/// rounding of its coefficients moves its poles by about as much as they lie apart: its results would be wrong by a
/// percent, or grow without end. True for what is no filter.
bool IsComputable(const Operation& operation, const ParametersByName& parameters);

} // namespace Vel::Engine
