#include "logic/Limits.h"

namespace Velmarosk::Operation {

namespace {

template <class T>
using ValueAndLimit = Signature<Boolean, T, T>;
template <class T>
using ValueAndBand = Signature<Boolean, T, T, T>;

constexpr Family families[] = {
    {"UpperLimit", rowsOfOne<CUpperLimit, CUpperLimitNV, ForEach<ValueAndLimit, FloatTypes>>},
    {"UpperLimit", rowsOfOne<CUpperLimit2, CUpperLimit2NV, ForEach<ValueAndBand, FloatTypes>>},
    {"LowerLimit", rowsOfOne<CLowerLimit, CLowerLimitNV, ForEach<ValueAndLimit, FloatTypes>>},
    {"LowerLimit", rowsOfOne<CLowerLimit2, CLowerLimit2NV, ForEach<ValueAndBand, FloatTypes>>},
};

} // namespace

std::span<const Family> LimitFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
