#include "value/Validity.h"

namespace Velmarosk::Operation {

namespace {

template <class T>
using Selection = Signature<T, Boolean, T, T>;

constexpr Family families[] = {
    {"Valid", rows<CValid, CValidNV, ForEach<BooleanOfOne, AllTypes>>},
    {"Valid", rows<CValid2, CValid2NV, ForEach<ThreeAlike, AllTypes>>},
    {"IsNoValue", rows<CIsNoValue, CIsNoValueNV, ForEach<BooleanOfOne, AllTypes>>},
    {"IsNoValue", rows<CIsNoValue2, CIsNoValue2NV, ForEach<BooleanOfTwo, FloatTypes>>},
    {"NoValueAlarm", rows<CNoValueAlarm, CNoValueAlarmNV, ForEach<BooleanOfOne, AllTypes>>},
    {"If", rows<CIfThenElse, CIfThenElseNV, ForEach<Selection, AllTypes>>},
};

} // namespace

std::span<const Family> ValidityFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
