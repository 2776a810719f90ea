#include "library/OperationTable.h"

#include "value/BinaryArithmetic.h"
#include "value/Comparison.h"
#include "value/Conversions.h"
#include "value/LogicAndBits.h"
#include "value/UnaryMathematics.h"
#include "value/Validity.h"

namespace Velmarosk::Operation {

namespace {

constexpr Topic topics[] = {
    ConversionFamilies, UnaryMathematicsFamilies, BinaryArithmeticFamilies,
    ComparisonFamilies, LogicAndBitFamilies,      ValidityFamilies,
};

} // namespace

OperationTable AllOperations() noexcept { return topics; }

} // namespace Velmarosk::Operation
