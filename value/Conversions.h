/// Conversions without memory: copies, type changes, scaling of raw values, bit fields, and words split into boolean
/// channels. None saturates.
#pragma once

#include "core/Arithmetic.h"
#include "core/FunctionOperations.h"
#include "core/OperationRows.h"

#include <array>
#include <bit>
#include <cstddef>
#include <limits>

namespace Velmarosk::Operation {

struct Assignment {
    template <Sample T>
    T operator()(T sample) const noexcept {
        return sample;
    }
};

template <Sample TResult>
struct Cast {
    template <Sample TOperand>
    TResult operator()(TOperand sample) const noexcept {
        return ConvertSample<TResult>(sample);
    }
};

/// "Assignment": the operand's sample, bit for bit.
template <class TResult, class TOperand>
using CAssignment = CUnaryFunction<Assignment, TResult, TOperand>;
template <class TResult, class TOperand>
using CAssignmentNV = CNoValueAware<CAssignment<TResult, TOperand>>;

/// "Cast": the operand's sample in another type, by the rules of ConvertSample.
template <class TResult, class TOperand>
using CCast = CUnaryFunction<Cast<TResult>, TResult, TOperand>;
template <class TResult, class TOperand>
using CCastNV = CNoValueAware<CCast<TResult, TOperand>>;

/// "PhysToFloat": a raw value times factor plus offset, in Float64 up to the last step.
///
/// Parameters, exactly two: factor (Float64, 1.0 before), offset (Float64, 0.0 before), in units of the result per unit
/// of the operand and in units of the result. Execute returns true. Reset changes nothing.
template <FloatSample TResult, Sample TOperand>
class CPhysToFloat : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() != 2)
            return false;
        factor = parameters.NextFloat64();
        offset = parameters.NextFloat64();
        return true;
    }

    bool Execute() override {
        const auto raw = ConvertSample<Float64>(this->operandRef.Read());
        this->resultRef.Write(ConvertSample<TResult>(AddInOrder(MultiplyInOrder(raw, factor), offset)));
        return true;
    }

private:
    Float64 factor = 1.0;
    Float64 offset = 0.0;
};
template <class TResult, class TOperand>
using CPhysToFloatNV = CNoValueAware<CPhysToFloat<TResult, TOperand>>;

/// "MaskAndShift": a bit field of a word as a number: unsigned on unsigned operands, as two's complement of the field's
/// width on signed ones.
///
/// Parameter, exactly one: mask (UInt64), the bits of the field in one run. A mask of 0 is refused and changes nothing;
/// a mask with a gap is refused and used all the same. Before any mask the result is 0. Execute returns true. Reset
/// changes nothing.
template <IntegerSample TResult, IntegerSample TOperand>
class CMaskAndShift : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() != 1)
            return false;
        const UInt64 newMask = parameters.NextUInt64();
        if (newMask == 0)
            return false;

        mask = newMask;
        shiftCount = 0;
        const int lowest = std::countr_zero(mask);
        const int highest = std::numeric_limits<UInt64>::digits - 1 - std::countl_zero(mask);
        fieldWidth = static_cast<UInt16>(highest - lowest + 1);
        if (std::popcount(mask) != fieldWidth)
            return false;
        shiftCount = static_cast<UInt64>(lowest);

        // The bit is placed in 32 bits, for 64-bit operands too, so fields of 32 bits and more get several bits, or the
        // bit of another place.
        signBit = static_cast<TOperand>(static_cast<SInt32>(UInt32{1} << ((fieldWidth - 1) % 32)));
        extendBits = 0;
        constexpr int width = std::numeric_limits<std::make_unsigned_t<TOperand>>::digits;
        // If the field is wider than the operand, the number of steps wraps.
        for (auto steps = static_cast<UInt16>(width - fieldWidth); steps > 0; --steps)
            extendBits = ShiftLeftByOne(static_cast<TOperand>(extendBits | signBit));
        return true;
    }

    bool Execute() override {
        using Widest = std::conditional_t<SignedSample<TOperand>, SInt64, UInt64>;
        const auto masked = static_cast<TOperand>(this->operandRef.Read() & static_cast<TOperand>(mask));
        auto value = static_cast<TOperand>(static_cast<Widest>(masked) >> shiftCount);
        if constexpr (SignedSample<TOperand>) {
            if ((value & signBit) != 0)
                value = static_cast<TOperand>(value | extendBits);
        }
        this->resultRef.Write(static_cast<TResult>(value));
        return true;
    }

private:
    static TOperand ShiftLeftByOne(TOperand value) noexcept { return WrappingAdd(value, value); }

    UInt64 mask = 0;
    UInt64 shiftCount = 0; ///< 0 to 63
    UInt16 fieldWidth = 0;
    TOperand extendBits = 0;
    TOperand signBit = 0;
};
template <class TResult, class TOperand>
using CMaskAndShiftNV = CNoValueAware<CMaskAndShift<TResult, TOperand>>;

/// Splits a word into as many boolean channels as it has bits, from bit 0 upward. The operand is read anew for each
/// result. If the operand is NoValue, each result gets its own marker. No parameters, no state; Execute returns true.
template <UnsignedSample TOperand>
class CExtractBits : public COperation {
public:
    static constexpr std::size_t bitCount = std::numeric_limits<TOperand>::digits;

    explicit CExtractBits(const References& references) noexcept
        : CExtractBits(references, std::make_index_sequence<bitCount>()) {}

    bool CheckNoValue() override {
        if (!HoldsNoValue(operandRef, hasOperandNoValue, operandNoValue))
            return true;
        for (std::size_t bit = 0; bit < bitCount; ++bit)
            resultRefs[bit].Write(resultNoValues[bit]);
        return false;
    }

    bool Execute() override {
        for (std::size_t bit = 0; bit < bitCount; ++bit)
            resultRefs[bit].Write(static_cast<Boolean>(operandRef.Read() >> bit & 1));
        return true;
    }

    bool Initialize(Parameters& /*parameters*/) override { return true; }

private:
    template <std::size_t... bits>
    CExtractBits(const References& references, std::index_sequence<bits...> /*sequence*/) noexcept
        : resultRefs{references.At<Boolean>(bits)...},
          operandRef(references.At<TOperand>(bitCount)),
          resultNoValues{resultRefs[bits].Read()...} {
        CaptureNoValue(operandRef, hasOperandNoValue, operandNoValue);
    }

    std::array<ValueRef<Boolean>, bitCount> resultRefs;
    ValueRef<TOperand> operandRef;
    NoValueFlag hasOperandNoValue;
    TOperand operandNoValue = 0;
    std::array<Boolean, bitCount> resultNoValues;
};

/// "Extract8Bits": eight boolean results from one UInt8.
using CExtract8Bits = CExtractBits<UInt8>;
using CExtract8BitsNV = CNoValueAware<CExtract8Bits>;

/// "Extract16Bits": sixteen boolean results from one UInt16.
using CExtract16Bits = CExtractBits<UInt16>;
using CExtract16BitsNV = CNoValueAware<CExtract16Bits>;

/// The rows of this topic.
std::span<const Family> ConversionFamilies() noexcept;

} // namespace Velmarosk::Operation
