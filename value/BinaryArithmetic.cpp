#include "value/BinaryArithmetic.h"

namespace Velmarosk::Operation {

namespace {

using EveryType = ForEach<ThreeAlike, AllTypes>;
using EveryFloat = ForEach<ThreeAlike, FloatTypes>;

constexpr Family families[] = {
    {"Plus", rows<CPlus, CPlusNV, EveryType>},
    {"Minus", rows<CMinus, CMinusNV, EveryType>},
    {"Multiply", rows<CMultiply, CMultiplyNV, EveryType>},
    {"Divide", rows<CDivide, CDivideNV, EveryType>},
    {"Modulo", rows<CModulo, CModuloNV, EveryType>},
    {"Min", rowsOfOne<CMin2, CMin2NV, EveryType>},
    {"Max", rowsOfOne<CMax2, CMax2NV, EveryType>},
    {"Power", rowsOfOne<CPower, CPowerNV, EveryFloat>},
    {"Radius", rows<CRadius, CRadiusNV, EveryFloat>},
    {"Angle", rows<CAngle, CAngleNV, EveryFloat>},
};

} // namespace

std::span<const Family> BinaryArithmeticFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
