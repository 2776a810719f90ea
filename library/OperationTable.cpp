#include "library/OperationTable.h"

#include "logic/Clock.h"
#include "logic/Edges.h"
#include "logic/FlipFlops.h"
#include "logic/TimeMeasurement.h"
#include "logic/Timers.h"
#include "value/BinaryArithmetic.h"

namespace Velmarosk::Operation {

namespace {

constexpr Topic topics[] = {
    BinaryArithmeticFamilies, EdgeFamilies, FlipFlopFamilies, TimerFamilies, TimeMeasurementFamilies, ClockFamilies,
};

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
