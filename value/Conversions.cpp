#include "value/Conversions.h"

namespace Velmarosk::Operation {

namespace {

template <class TResult, class TOperand>
using DifferentTypes = std::conditional_t<std::same_as<TResult, TOperand>, NoSignature, Signature<TResult, TOperand>>;

constexpr TypeRow extract8Bits[] = {Row<CExtract8Bits, CExtract8BitsNV>("WWWWWWWWB")};
constexpr TypeRow extract16Bits[] = {Row<CExtract16Bits, CExtract16BitsNV>("WWWWWWWWWWWWWWWWW")};

constexpr Family families[] = {
    {"Assignment", rows<CAssignment, CAssignmentNV, ForEach<TwoAlike, AllTypes>>},
    {"Cast", rows<CCast, CCastNV, ForEachPair<DifferentTypes, AllTypes, AllTypes>>},
    {"PhysToFloat", rows<CPhysToFloat, CPhysToFloatNV, ForEachPair<ResultOfOne, FloatTypes, AllTypes>>},
    {"MaskAndShift", rows<CMaskAndShift, CMaskAndShiftNV, ForEachPair<ResultOfOne, UnsignedTypes, UnsignedTypes>>},
    {"MaskAndShift", rows<CMaskAndShift, CMaskAndShiftNV, ForEachPair<ResultOfOne, SignedTypes, SignedTypes>>},
    {"Extract8Bits", extract8Bits},
    {"Extract16Bits", extract16Bits},
};

} // namespace

std::span<const Family> ConversionFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
