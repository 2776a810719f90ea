#include "library/OperationTable.h"

#include "logic/Curves.h"
#include "logic/GearDetermination.h"
#include "logic/Limits.h"
#include "value/BinaryArithmetic.h"

namespace Velmarosk::Operation {

namespace {

constexpr Topic topics[] = {
    BinaryArithmeticFamilies,
    LimitFamilies,
    CurveFamilies,
    GearFamilies,
};

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
