#include "library/OperationTable.h"

#include "signal/Integration.h"
#include "value/BinaryArithmetic.h"

namespace Velmarosk::Operation {

namespace {

// clang-format off
constexpr Topic topics[] = {
    BinaryArithmeticFamilies,
    IntegrationFamilies,
};
// clang-format on

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
