#include "library/OperationTable.h"

#include "logic/Clock.h"
#include "logic/Curves.h"
#include "logic/Edges.h"
#include "logic/FlipFlops.h"
#include "logic/GearDetermination.h"
#include "logic/Limits.h"
#include "logic/TimeMeasurement.h"
#include "logic/Timers.h"
#include "value/BinaryArithmetic.h"
#include "value/Comparison.h"
#include "value/Conversions.h"
#include "value/LogicAndBits.h"
#include "value/UnaryMathematics.h"
#include "value/Validity.h"

namespace Velmarosk::Operation {

namespace {

// clang-format off
constexpr Topic topics[] = {
    // value
    ConversionFamilies, UnaryMathematicsFamilies, BinaryArithmeticFamilies, ComparisonFamilies, LogicAndBitFamilies,
    ValidityFamilies,
    // logic
    EdgeFamilies, FlipFlopFamilies, TimerFamilies, TimeMeasurementFamilies, ClockFamilies, LimitFamilies, CurveFamilies,
    GearFamilies,
};
// clang-format on

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
