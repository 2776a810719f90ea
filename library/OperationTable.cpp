#include "library/OperationTable.h"

#include "logic/Clock.h"
#include "logic/Curves.h"
#include "logic/Edges.h"
#include "logic/FlipFlops.h"
#include "logic/GearDetermination.h"
#include "logic/Limits.h"
#include "logic/TimeMeasurement.h"
#include "logic/Timers.h"
#include "signal/ButterworthFilters.h"
#include "signal/Integration.h"
#include "signal/OldValues.h"
#include "signal/SlidingWindows.h"
#include "signal/Statistics.h"
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
    // signal
    IntegrationFamilies, OldValuesFamilies, SlidingWindowsFamilies, StatisticsFamilies, ButterworthFiltersFamilies,
};
// clang-format on

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
