#include "library/OperationTable.h"

#include "signal/ButterworthFilters.h"
#include "signal/Integration.h"
#include "signal/OldValues.h"
#include "signal/SlidingWindows.h"
#include "signal/Statistics.h"
#include "value/BinaryArithmetic.h"

namespace Velmarosk::Operation {

namespace {

// clang-format off
constexpr Topic topics[] = {
    BinaryArithmeticFamilies,
    IntegrationFamilies,
    OldValuesFamilies,
    SlidingWindowsFamilies,
    StatisticsFamilies,
    ButterworthFiltersFamilies,
};
// clang-format on

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
