/// Integers read as truth values (true when not 0) and as bit patterns. "LogicalAnd" and "LogicalOr" know NoValue as a
/// third truth value in their NoValue-aware form. A shift by the width of the type or more gives 0, whatever the sign.
#pragma once

#include "core/Arithmetic.h"
#include "core/FunctionOperations.h"
#include "core/OperationRows.h"

#include <functional>
#include <limits>
#include <type_traits>

namespace Velmarosk::Operation {

/// A relation of two truth values, written as 0 or 1 in the type of the operands.
template <class TRelation>
struct LogicalRelation {
    template <IntegerSample T>
    T operator()(T a, T b) const noexcept {
        return static_cast<T>(TRelation{}(a != 0, b != 0));
    }
};

struct LogicalNegation {
    Boolean operator()(Boolean a) const noexcept { return a == 0; }
};

template <class TOperator>
struct BitwiseCombination {
    template <IntegerSample T>
    T operator()(T a, T b) const noexcept {
        return static_cast<T>(TOperator{}(a, b));
    }
};

struct BitwiseComplement {
    template <IntegerSample T>
    T operator()(T a) const noexcept {
        return static_cast<T>(~a);
    }
};

/// Counts and bit numbers are read as unsigned, so a negative one is beyond every width.
template <IntegerSample T>
constexpr bool IsBeyondWidth(T count) noexcept {
    using Unsigned = std::make_unsigned_t<T>;
    return static_cast<Unsigned>(count) >= static_cast<Unsigned>(std::numeric_limits<Unsigned>::digits);
}

struct ShiftLeft {
    template <IntegerSample T>
    T operator()(T a, T count) const noexcept {
        if (IsBeyondWidth(count))
            return 0;
        return static_cast<T>(static_cast<WrappingType<T>>(a) << count);
    }
};

/// Arithmetic on signed types. Beyond the width a negative value gives 0 too, not -1.
struct ShiftRight {
    template <IntegerSample T>
    T operator()(T a, T count) const noexcept {
        if (IsBeyondWidth(count))
            return 0;
        return static_cast<T>(a >> count);
    }
};

/// Whether any bit of the mask is set, not all of them.
struct AnyBitOfMask {
    template <IntegerSample T>
    Boolean operator()(T a, T mask) const noexcept {
        return (a & mask) != 0;
    }
};

struct BitAtIndex {
    template <IntegerSample T>
    Boolean operator()(T a, T index) const noexcept {
        if (IsBeyondWidth(index))
            return 0;
        // On the 64-bit types the mask is made in 32 bits and sign-extended: index 31 tests all bits from 31 up, and
        // indices from 32 test the low half again.
        const auto mask = static_cast<T>(static_cast<SInt32>(UInt32{1} << (static_cast<UInt32>(index) % 32)));
        return AnyBitOfMask{}(a, mask);
    }
};

/// The NoValue-aware form of an operation where one truth value of either operand decides, even beside a NoValue. An
/// operand at its marker is NoValue, whatever number the marker is.
template <class TPlain, bool decidingTruth>
class CThreeValued final : public TPlain {
public:
    using TPlain::TPlain;

    bool Execute() override {
        if (this->IsOperand1NoValue()) {
            if (this->IsOperand2NoValue() || IsTrue(this->operand2Ref) != decidingTruth)
                return this->WriteNoValue();
            return Write(decidingTruth);
        }
        if (IsTrue(this->operand1Ref) == decidingTruth)
            return Write(decidingTruth);
        if (this->IsOperand2NoValue())
            return this->WriteNoValue();
        return Write(IsTrue(this->operand2Ref));
    }

private:
    static bool IsTrue(auto operand) noexcept { return operand.Read() != 0; }
    bool Write(bool truth) const noexcept {
        this->resultRef.Write(truth);
        return true;
    }
};

/// "LogicalAnd": 1 if both operands are true, else 0. No parameters, no state. NoValue-aware, an operand that is false
/// decides the result.
template <class TResult, class TOperand1, class TOperand2>
using CLogicalAnd = CBinaryFunction<LogicalRelation<std::logical_and<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CLogicalAndNV = CThreeValued<CLogicalAnd<TResult, TOperand1, TOperand2>, false>;

/// "LogicalOr": 1 if at least one operand is true, else 0. No parameters, no state. NoValue-aware, an operand that is
/// true decides the result.
template <class TResult, class TOperand1, class TOperand2>
using CLogicalOr = CBinaryFunction<LogicalRelation<std::logical_or<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CLogicalOrNV = CThreeValued<CLogicalOr<TResult, TOperand1, TOperand2>, true>;

/// "LogicalXOr": 1 if exactly one operand is true, else 0. On UInt32 this name makes a CPlus.
template <class TResult, class TOperand1, class TOperand2>
using CLogicalXOr = CBinaryFunction<LogicalRelation<std::not_equal_to<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CLogicalXOrNV = CNoValueAware<CLogicalXOr<TResult, TOperand1, TOperand2>>;

/// "LogicalNot": 1 if the operand is 0, else 0.
template <class TResult, class TOperand>
using CLogicalNot = CUnaryFunction<LogicalNegation, TResult, TOperand>;
template <class TResult, class TOperand>
using CLogicalNotNV = CNoValueAware<CLogicalNot<TResult, TOperand>>;

/// "BitwiseAnd"
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseAnd = CBinaryFunction<BitwiseCombination<std::bit_and<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseAndNV = CNoValueAware<CBitwiseAnd<TResult, TOperand1, TOperand2>>;

/// "BitwiseOr"
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseOr = CBinaryFunction<BitwiseCombination<std::bit_or<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseOrNV = CNoValueAware<CBitwiseOr<TResult, TOperand1, TOperand2>>;

/// "BitwiseXOr"
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseXOr = CBinaryFunction<BitwiseCombination<std::bit_xor<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseXOrNV = CNoValueAware<CBitwiseXOr<TResult, TOperand1, TOperand2>>;

/// "BitwiseNot": the one's complement.
template <class TResult, class TOperand>
using CBitwiseNot = CUnaryFunction<BitwiseComplement, TResult, TOperand>;
template <class TResult, class TOperand>
using CBitwiseNotNV = CNoValueAware<CBitwiseNot<TResult, TOperand>>;

/// "BitwiseShiftLeft": operand 1 shifted by operand 2 bits.
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseShiftLeft = CBinaryFunction<ShiftLeft, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseShiftLeftNV = CNoValueAware<CBitwiseShiftLeft<TResult, TOperand1, TOperand2>>;

/// "BitwiseShiftRight": operand 1 shifted by operand 2 bits, with copies of the sign bit on signed types.
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseShiftRight = CBinaryFunction<ShiftRight, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CBitwiseShiftRightNV = CNoValueAware<CBitwiseShiftRight<TResult, TOperand1, TOperand2>>;

/// "TestMask" with two operands: 1 if operand 1 has any bit of the mask in operand 2, else 0.
template <class TResult, class TOperand1, class TOperand2>
using CTestMask = CBinaryFunction<AnyBitOfMask, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CTestMaskNV = CNoValueAware<CTestMask<TResult, TOperand1, TOperand2>>;

/// "TestMask" with one operand: 1 if it has any bit of the mask, else 0.
///
/// Parameter, exactly one: mask, an integer; its low bits at the operand's width are kept. It is 0 at first, so the
/// result is 0. Execute returns true. Reset keeps the mask.
template <Sample TResult, IntegerSample TOperand>
class CTestMask2 : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() != 1)
            return false;
        mask = parameters.NextSample<TOperand>();
        return true;
    }

    bool Execute() override { return WriteValue(this->resultRef, AnyBitOfMask{}(this->operandRef.Read(), mask)); }

private:
    TOperand mask = 0;
};
template <class TResult, class TOperand>
using CTestMask2NV = CNoValueAware<CTestMask2<TResult, TOperand>>;

/// "TestBit": 1 if operand 1 has the bit set whose index, from 0 at the least significant bit, is operand 2, else 0.
template <class TResult, class TOperand1, class TOperand2>
using CTestBit = CBinaryFunction<BitAtIndex, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CTestBitNV = CNoValueAware<CTestBit<TResult, TOperand1, TOperand2>>;

/// The rows of this topic.
std::span<const Family> LogicAndBitFamilies() noexcept;

} // namespace Velmarosk::Operation
