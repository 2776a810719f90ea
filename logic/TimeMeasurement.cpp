#include "logic/TimeMeasurement.h"

namespace Velmarosk::Operation {

namespace {

template <class T>
using OfCondition = Signature<T, Boolean>;
template <class T>
using OfConditionAndTime = Signature<T, Boolean, T>;
template <class T>
using OfTwoConditions = Signature<T, Boolean, Boolean>;
template <class T>
using OfTwoConditionsAndTime = Signature<T, Boolean, Boolean, T>;

constexpr Family families[] = {
    {"TimeDiff", rows<CTimeDiff, CTimeDiffNV, ForEach<OfTwoConditions, FloatTypes>>},
    {"TimeDiff", rows<CTimeDiff2, CTimeDiff2NV, ForEach<OfTwoConditionsAndTime, FloatTypes>>},
    {"Time", rows<CCondTime, CCondTimeNV, ForEach<OfCondition, FloatTypes>>},
    {"Time", rows<CCondTime2, CCondTime2NV, ForEach<OfConditionAndTime, FloatTypes>>},
    {"Count", rows<CCount, CCountNV, ForEach<OfTwoConditions, FloatTypes>>},
};

} // namespace

std::span<const Family> TimeMeasurementFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
