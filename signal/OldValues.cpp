#include "signal/OldValues.h"

namespace Velmarosk::Operation {

namespace {

using EveryType = ForEach<TwoAlike, AllTypes>;

constexpr Family families[] = {
    {"GetOldValue", rows<CGetOldValue, CGetOldValueNV, EveryType>},
    {"GetOldValueN", rows<CGetOldValueN, CGetOldValueNNV, EveryType>},
};

} // namespace

std::span<const Family> OldValuesFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
