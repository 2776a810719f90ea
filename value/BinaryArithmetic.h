/// Arithmetic on two operands. A zero divisor and a power without a finite value are refused: Execute returns false and
/// leaves the result alone. Nothing else is refused; infinities and NaNs are written.
#pragma once

#include "core/Arithmetic.h"
#include "core/FunctionOperations.h"
#include "core/OperationRows.h"

#include <cmath>

namespace Velmarosk::Operation {

struct Plus {
    template <Sample T>
    T operator()(T a, T b) const noexcept {
        if constexpr (IntegerSample<T>)
            return WrappingAdd(b, a);
        else
            return AddInOrder(b, a);
    }
};

struct Minus {
    template <Sample T>
    T operator()(T a, T b) const noexcept {
        if constexpr (IntegerSample<T>)
            return WrappingSubtract(a, b);
        else
            return SubtractInOrder(a, b);
    }
};

struct Multiply {
    template <Sample T>
    T operator()(T a, T b) const noexcept {
        if constexpr (IntegerSample<T>)
            return WrappingMultiply(b, a);
        else
            return MultiplyInOrder(b, a);
    }
};

/// Integers of 8 and 16 bits divide in 32 bits and wrap at the end. On SInt32 and SInt64 nothing guards the lowest
/// value divided by -1: on x86 the host gets the division fault. Other processors have none, and the quotient wraps.
struct Quotient {
    template <Sample T>
    T operator()(T a, T b) const noexcept {
        if constexpr (FloatSample<T>)
            return DivideInOrder(a, b);
        else if (!divisionFaults && SignedSample<T> && b == static_cast<T>(-1))
            return WrappingSubtract(T{0}, a);
        else
            return static_cast<T>(a / b);
    }
};

/// The remainder takes the sign of the dividend. The fault of Quotient applies here too.
struct Remainder {
    template <Sample T>
    T operator()(T a, T b) const noexcept {
        if constexpr (FloatSample<T>)
            return RemainderInOrder(a, b);
        else if (!divisionFaults && SignedSample<T> && b == static_cast<T>(-1))
            return 0;
        else
            return static_cast<T>(a % b);
    }
};

/// Comparisons with a NaN are false, so a NaN passes as the first operand and is dropped as the second.
struct Min2 {
    template <Sample T>
    T operator()(T a, T b) const noexcept {
        return b < a ? b : a;
    }
};

/// Treats ties and NaNs like Min2: the first operand wins.
struct Max2 {
    template <Sample T>
    T operator()(T a, T b) const noexcept {
        return a < b ? b : a;
    }
};

struct Power {
    template <FloatSample T>
    T operator()(T a, T b) const noexcept {
        return std::pow(a, b);
    }
};

/// The distance of the point (a, b) from the origin, at the precision of T throughout.
struct Radius {
    template <FloatSample T>
    T operator()(T a, T b) const noexcept {
        return SquareRootOf(AddInOrder(MultiplyInOrder(a, a), MultiplyInOrder(b, b)));
    }
};

/// The direction of the point (a, b) in degrees, 0 to 360, from the positive a axis toward the positive b axis. Only
/// the radius has the precision of T. The origin gives a NaN, and a point just below the positive a axis 360.
struct Angle {
    template <FloatSample T>
    T operator()(T a, T b) const noexcept {
        const Float64 cosine = DivideInOrder(ConvertSample<Float64>(a), ConvertSample<Float64>(Radius{}(a, b)));
        const Float64 angle = IsNaN(cosine) ? cosine : std::acos(cosine);
        const Float64 degrees = DivideInOrder(MultiplyInOrder(angle, 180.0), 3.141592653589793);
        return ConvertSample<T>(b >= 0 ? degrees : SubtractInOrder(360.0, degrees));
    }
};

/// Reads the divisor first, and the dividend only if the divisor is not 0.
template <class TFunction, Sample TResult, Sample TOperand1, Sample TOperand2>
class CDivision : public CBinaryOperation<TResult, TOperand1, TOperand2> {
public:
    using CBinaryOperation<TResult, TOperand1, TOperand2>::CBinaryOperation;

    bool Execute() override {
        const TOperand2 divisor = this->operand2Ref.Read();
        if (divisor == 0)
            return false;
        return WriteValue(this->resultRef, TFunction{}(this->operand1Ref.Read(), divisor));
    }
};

/// "Plus": operand 1 plus operand 2. Integers wrap at the width of their type.
template <class TResult, class TOperand1, class TOperand2>
using CPlus = CBinaryFunction<Plus, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CPlusNV = CNoValueAware<CPlus<TResult, TOperand1, TOperand2>>;

/// "Minus": operand 1 minus operand 2. Integers wrap.
template <class TResult, class TOperand1, class TOperand2>
using CMinus = CBinaryFunction<Minus, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CMinusNV = CNoValueAware<CMinus<TResult, TOperand1, TOperand2>>;

/// "Multiply": operand 1 times operand 2. Integers wrap.
template <class TResult, class TOperand1, class TOperand2>
using CMultiply = CBinaryFunction<Multiply, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CMultiplyNV = CNoValueAware<CMultiply<TResult, TOperand1, TOperand2>>;

/// "Divide": operand 1 divided by operand 2, toward zero on integers. Refused for a divisor of 0 or -0.0.
template <class TResult, class TOperand1, class TOperand2>
using CDivide = CDivision<Quotient, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CDivideNV = CNoValueAware<CDivide<TResult, TOperand1, TOperand2>>;

/// "Modulo": the remainder of operand 1 by operand 2. Refused for a divisor of 0 or -0.0.
template <class TResult, class TOperand1, class TOperand2>
using CModulo = CDivision<Remainder, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CModuloNV = CNoValueAware<CModulo<TResult, TOperand1, TOperand2>>;

/// "Min" with two operands: the smaller one, operand 1 if they are equal or unordered.
template <class T>
using CMin2 = CBinaryFunction<Min2, T, T, T>;
template <class T>
using CMin2NV = CNoValueAware<CMin2<T>>;

/// "Max" with two operands: the larger one, operand 1 if they are equal or unordered.
template <class T>
using CMax2 = CBinaryFunction<Max2, T, T, T>;
template <class T>
using CMax2NV = CNoValueAware<CMax2<T>>;

/// "Power": operand 1 raised to operand 2. Refused if the value is infinite or a NaN.
template <class T>
using CPower = CBinaryFunction<Guarded<Power>, T, T, T>;
template <class T>
using CPowerNV = CNoValueAware<CPower<T>>;

/// "Radius": the distance of the point (operand 1, operand 2) from the origin.
template <class TResult, class TOperand1, class TOperand2>
using CRadius = CBinaryFunction<Radius, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CRadiusNV = CNoValueAware<CRadius<TResult, TOperand1, TOperand2>>;

/// "Angle": the direction of the point (operand 1, operand 2) in degrees.
template <class TResult, class TOperand1, class TOperand2>
using CAngle = CBinaryFunction<Angle, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CAngleNV = CNoValueAware<CAngle<TResult, TOperand1, TOperand2>>;

/// The rows of this topic.
std::span<const Family> BinaryArithmeticFamilies() noexcept;

} // namespace Velmarosk::Operation
