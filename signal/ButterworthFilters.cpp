#include "signal/ButterworthFilters.h"

namespace Velmarosk::Operation {

namespace {

using EveryFloat = ForEach<TwoAlike, FloatTypes>;

constexpr Family families[] = {
    {"FilterButterworthLowPass", rows<CFilterButterworthLowPass, CFilterButterworthLowPassNV, EveryFloat>},
    {"FilterButterworthHighPass", rows<CFilterButterworthHighPass, CFilterButterworthHighPassNV, EveryFloat>},
    {"FilterButterworthBandPass", rows<CFilterButterworthBandPass, CFilterButterworthBandPassNV, EveryFloat>},
    {"FilterButterworthBandStop", rows<CFilterButterworthBandStop, CFilterButterworthBandStopNV, EveryFloat>},
};

} // namespace

std::span<const Family> ButterworthFiltersFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
