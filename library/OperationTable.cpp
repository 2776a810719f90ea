#include "library/OperationTable.h"

#include "value/BinaryArithmetic.h"

namespace Velmarosk::Operation {

namespace {

constexpr Topic topics[] = {
    BinaryArithmeticFamilies,
};

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
