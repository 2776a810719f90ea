#include "value/LogicAndBits.h"

#include "value/BinaryArithmetic.h"

namespace Velmarosk::Operation {

namespace {

using EveryInteger = ForEach<ThreeAlike, IntegerTypes>;
using EveryIntegerButUInt32 = ForEach<ThreeAlike, TypeList<UInt8, UInt16, UInt64, SInt8, SInt16, SInt32, SInt64>>;
using BooleanOfTwoIntegers = ForEach<BooleanOfTwo, IntegerTypes>;

constexpr Family families[] = {
    {"LogicalAnd", rows<CLogicalAnd, CLogicalAndNV, EveryInteger>},
    {"LogicalOr", rows<CLogicalOr, CLogicalOrNV, EveryInteger>},
    {"LogicalXOr", rows<CLogicalXOr, CLogicalXOrNV, EveryIntegerButUInt32>},
    {"LogicalXOr", rows<CPlus, CPlusNV, ForEach<ThreeAlike, TypeList<UInt32>>>}, // on UInt32 it adds
    {"LogicalNot", rows<CLogicalNot, CLogicalNotNV, ForEach<TwoAlike, TypeList<Boolean>>>},
    {"BitwiseAnd", rows<CBitwiseAnd, CBitwiseAndNV, EveryInteger>},
    {"BitwiseOr", rows<CBitwiseOr, CBitwiseOrNV, EveryInteger>},
    {"BitwiseXOr", rows<CBitwiseXOr, CBitwiseXOrNV, EveryInteger>},
    {"BitwiseNot", rows<CBitwiseNot, CBitwiseNotNV, ForEach<TwoAlike, IntegerTypes>>},
    {"BitwiseShiftLeft", rows<CBitwiseShiftLeft, CBitwiseShiftLeftNV, EveryInteger>},
    {"BitwiseShiftRight", rows<CBitwiseShiftRight, CBitwiseShiftRightNV, EveryInteger>},
    {"TestMask", rows<CTestMask, CTestMaskNV, BooleanOfTwoIntegers>},
    {"TestMask", rows<CTestMask2, CTestMask2NV, ForEach<BooleanOfOne, IntegerTypes>>},
    {"TestBit", rows<CTestBit, CTestBitNV, BooleanOfTwoIntegers>},
};

} // namespace

std::span<const Family> LogicAndBitFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
