#include "logic/Clock.h"

namespace Velmarosk::Operation {

namespace {

using TimeTypes = TypeList<UInt64, Float32, Float64>;
using TimeAlone = ForEach<ResultAlone, TimeTypes>;
using ComponentOfTime = ForEach<TwoAlike, TimeTypes>;

// The plain classes stand for both forms.
constexpr Family families[] = {
    {"SystemTime", rows<CSystemTime, CSystemTime, TimeAlone>},
    {"LocalTime", rows<CLocalTime, CLocalTime, TimeAlone>},
    {"Hour", rows<CHour, CHour, ComponentOfTime>},
    {"Minute", rows<CMinute, CMinute, ComponentOfTime>},
    {"Second", rows<CSecond, CSecond, ComponentOfTime>},
};

} // namespace

std::span<const Family> ClockFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
