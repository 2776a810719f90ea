#include "value/Comparison.h"

namespace Velmarosk::Operation {

namespace {

using EveryType = ForEach<BooleanOfTwo, AllTypes>;

constexpr Family families[] = {
    {"Equal", rows<CEqual, CEqualNV, EveryType>},
    {"Unequal", rows<CUnequal, CUnequalNV, EveryType>},
    {"GreaterThan", rows<CGreaterThan, CGreaterThanNV, EveryType>},
    {"LessThan", rows<CLessThan, CLessThanNV, EveryType>},
    {"GreaterThanOrEqual", rows<CGreaterThanOrEqual, CGreaterThanOrEqualNV, EveryType>},
    {"LessThanOrEqual", rows<CLessThanOrEqual, CLessThanOrEqualNV, EveryType>},
};

} // namespace

std::span<const Family> ComparisonFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
