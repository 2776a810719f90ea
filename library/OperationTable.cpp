#include "library/OperationTable.h"

#include "signal/Integration.h"
#include "signal/OldValues.h"
#include "value/BinaryArithmetic.h"

namespace Velmarosk::Operation {

namespace {

// clang-format off
constexpr Topic topics[] = {
    BinaryArithmeticFamilies,
    IntegrationFamilies,
    OldValuesFamilies,
};
// clang-format on

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
