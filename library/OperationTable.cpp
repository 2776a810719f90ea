#include "library/OperationTable.h"

#include "logic/Curves.h"
#include "logic/GearDetermination.h"
#include "logic/Limits.h"
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
    LimitFamilies, CurveFamilies, GearFamilies,
};
// clang-format on

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
