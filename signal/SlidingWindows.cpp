#include "signal/SlidingWindows.h"

namespace Velmarosk::Operation {

namespace {

using EveryType = ForEach<TwoAlike, AllTypes>;

constexpr Family families[] = {
    {"Min", rows<CMin, CMinNV, EveryType>},
    {"Max", rows<CMax, CMaxNV, EveryType>},
    {"Average", rowsOfOne<CAverage, CAverageNV, EveryType>},
};

} // namespace

std::span<const Family> SlidingWindowsFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
