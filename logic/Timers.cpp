#include "logic/Timers.h"

namespace Velmarosk::Operation {

namespace {

using AllButSInt16 = TypeList<UInt8, UInt16, UInt32, UInt64, SInt8, SInt32, SInt64, Float32, Float64>;

template <class TValue, class TTime>
using ValueTimeoutTime = Signature<Boolean, TValue, TTime, TTime>;

constexpr Family families[] = {
    {"MonoFlop", rows<CMonoFlop, CMonoFlopNV, ForEach<BooleanOfOne, AllTypes>>},
    {"MonoFlop", rows<CMonoFlop2, CMonoFlop2NV, ForEach<ThreeAlike, FloatTypes>>},
    {"Timeout", rows<CTimeout, CTimeoutNV, ForEach<BooleanOfTwo, AllButSInt16>>},
    {"Timeout", rows<CTimeout, CTimeout, ForEach<BooleanOfTwo, TypeList<SInt16>>>}, // plain for both forms
    {"Timeout", rows<CTimeout2, CTimeout2NV, ForEachPair<ValueTimeoutTime, AllTypes, FloatTypes>>},
};

} // namespace

std::span<const Family> TimerFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
