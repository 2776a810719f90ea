/// Functions of one floating operand, without memory. Most share one guarded shape: the math library's function at the
/// precision of the type, refused if its value is infinite or a NaN. The result then stays as it was; the operand is
/// not tested. No parameters, no state. Angles are in radians.
#pragma once

#include "core/FunctionOperations.h"
#include "core/OperationRows.h"

#include <cmath>

namespace Velmarosk::Operation {

// The functions of the math library, each for the operand's type; none widens a Float32.

struct Sine {
    auto operator()(auto x) const noexcept { return std::sin(x); }
};
struct Cosine {
    auto operator()(auto x) const noexcept { return std::cos(x); }
};
struct Tangent {
    auto operator()(auto x) const noexcept { return std::tan(x); }
};
struct ArcSine {
    auto operator()(auto x) const noexcept { return std::asin(x); }
};
struct ArcCosine {
    auto operator()(auto x) const noexcept { return std::acos(x); }
};
struct ArcTangent {
    auto operator()(auto x) const noexcept { return std::atan(x); }
};
struct HyperbolicSine {
    auto operator()(auto x) const noexcept { return std::sinh(x); }
};
struct HyperbolicCosine {
    auto operator()(auto x) const noexcept { return std::cosh(x); }
};
struct HyperbolicTangent {
    auto operator()(auto x) const noexcept { return std::tanh(x); }
};
struct Exponential {
    auto operator()(auto x) const noexcept { return std::exp(x); }
};
struct NaturalLogarithm {
    auto operator()(auto x) const noexcept { return std::log(x); }
};
struct DecimalLogarithm {
    auto operator()(auto x) const noexcept { return std::log10(x); }
};
struct SquareRoot {
    auto operator()(auto x) const noexcept { return std::sqrt(x); }
};
struct PowerOfTen {
    auto operator()(auto x) const noexcept {
        // Volatile: a compiler may otherwise call exp10, which rounds differently.
        const volatile decltype(x) base = 10;
        return std::pow(base, x);
    }
};
struct RoundDown {
    auto operator()(auto x) const noexcept { return std::floor(x); }
};
struct RoundUp {
    auto operator()(auto x) const noexcept { return std::ceil(x); }
};
/// Halves go toward plus infinity. The sum rounds, so the largest Float32 below 0.5 gives 1.
struct RoundHalfUp {
    template <FloatSample T>
    T operator()(T x) const noexcept {
        return std::floor(x + static_cast<T>(0.5));
    }
};

// The functions without a guard.

struct Negate {
    template <FloatSample T>
    T operator()(T x) const noexcept {
        // Not -x: that flips the sign of a NaN, and the product keeps it.
        return ConvertSample<T>(MultiplyInOrder(ConvertSample<Float64>(x), -1.0));
    }
};
struct AbsoluteValue {
    template <FloatSample T>
    T operator()(T x) const noexcept {
        if constexpr (std::same_as<T, Float32>) {
            // Through Float64, which makes a signalling NaN quiet. Volatile: a compiler may otherwise leave the detour
            // out.
            const volatile auto wide = ConvertSample<Float64>(x);
            return ConvertSample<Float32>(std::fabs(wide));
        } else {
            return std::fabs(x);
        }
    }
};
struct SignOf {
    template <FloatSample T>
    T operator()(T x) const noexcept {
        if (x > 0)
            return 1;
        if (x == 0)
            return 0;
        return -1; // for a NaN too
    }
};

/// "Negate": x * -1. Infinities and NaNs are written.
template <class TResult, class TOperand>
using CNegate = CUnaryFunction<Negate, TResult, TOperand>;
template <class TResult, class TOperand>
using CNegateNV = CNoValueAware<CNegate<TResult, TOperand>>;

/// "Abs": x without its sign. Infinities and NaNs are written.
template <class TResult, class TOperand>
using CAbs = CUnaryFunction<AbsoluteValue, TResult, TOperand>;
template <class TResult, class TOperand>
using CAbsNV = CNoValueAware<CAbs<TResult, TOperand>>;

/// "Sign": 1, +0 or -1. A NaN gives -1.
template <class TResult, class TOperand>
using CSign = CUnaryFunction<SignOf, TResult, TOperand>;
template <class TResult, class TOperand>
using CSignNV = CNoValueAware<CSign<TResult, TOperand>>;

/// "Sin": x in radians.
template <class TResult, class TOperand>
using CSin = CUnaryFunction<Guarded<Sine>, TResult, TOperand>;
template <class TResult, class TOperand>
using CSinNV = CNoValueAware<CSin<TResult, TOperand>>;

/// "Cos": x in radians.
template <class TResult, class TOperand>
using CCos = CUnaryFunction<Guarded<Cosine>, TResult, TOperand>;
template <class TResult, class TOperand>
using CCosNV = CNoValueAware<CCos<TResult, TOperand>>;

/// "Tan": x in radians.
template <class TResult, class TOperand>
using CTan = CUnaryFunction<Guarded<Tangent>, TResult, TOperand>;
template <class TResult, class TOperand>
using CTanNV = CNoValueAware<CTan<TResult, TOperand>>;

/// "ArcSin": in radians.
template <class TResult, class TOperand>
using CArcSin = CUnaryFunction<Guarded<ArcSine>, TResult, TOperand>;
template <class TResult, class TOperand>
using CArcSinNV = CNoValueAware<CArcSin<TResult, TOperand>>;

/// "ArcCos": in radians.
template <class TResult, class TOperand>
using CArcCos = CUnaryFunction<Guarded<ArcCosine>, TResult, TOperand>;
template <class TResult, class TOperand>
using CArcCosNV = CNoValueAware<CArcCos<TResult, TOperand>>;

/// "ArcTan": in radians.
template <class TResult, class TOperand>
using CArcTan = CUnaryFunction<Guarded<ArcTangent>, TResult, TOperand>;
template <class TResult, class TOperand>
using CArcTanNV = CNoValueAware<CArcTan<TResult, TOperand>>;

/// "Sinh"
template <class TResult, class TOperand>
using CSinh = CUnaryFunction<Guarded<HyperbolicSine>, TResult, TOperand>;
template <class TResult, class TOperand>
using CSinhNV = CNoValueAware<CSinh<TResult, TOperand>>;

/// "Cosh"
template <class TResult, class TOperand>
using CCosh = CUnaryFunction<Guarded<HyperbolicCosine>, TResult, TOperand>;
template <class TResult, class TOperand>
using CCoshNV = CNoValueAware<CCosh<TResult, TOperand>>;

/// "Tanh"
template <class TResult, class TOperand>
using CTanh = CUnaryFunction<Guarded<HyperbolicTangent>, TResult, TOperand>;
template <class TResult, class TOperand>
using CTanhNV = CNoValueAware<CTanh<TResult, TOperand>>;

/// "Exp": e to the power x.
template <class TResult, class TOperand>
using CExp = CUnaryFunction<Guarded<Exponential>, TResult, TOperand>;
template <class TResult, class TOperand>
using CExpNV = CNoValueAware<CExp<TResult, TOperand>>;

/// "Ln": the logarithm to the base e.
template <class TResult, class TOperand>
using CLn = CUnaryFunction<Guarded<NaturalLogarithm>, TResult, TOperand>;
template <class TResult, class TOperand>
using CLnNV = CNoValueAware<CLn<TResult, TOperand>>;

/// "Log": the logarithm to the base 10.
template <class TResult, class TOperand>
using CLog = CUnaryFunction<Guarded<DecimalLogarithm>, TResult, TOperand>;
template <class TResult, class TOperand>
using CLogNV = CNoValueAware<CLog<TResult, TOperand>>;

/// "Sqrt"
template <class TResult, class TOperand>
using CSqrt = CUnaryFunction<Guarded<SquareRoot>, TResult, TOperand>;
template <class TResult, class TOperand>
using CSqrtNV = CNoValueAware<CSqrt<TResult, TOperand>>;

/// "Power10": 10 to the power x.
template <class T>
using CPower10 = CUnaryFunction<Guarded<PowerOfTen>, T, T>;
template <class T>
using CPower10NV = CNoValueAware<CPower10<T>>;

/// "Floor": the largest whole number not above x.
template <class TResult, class TOperand>
using CFloor = CUnaryFunction<Guarded<RoundDown>, TResult, TOperand>;
template <class TResult, class TOperand>
using CFloorNV = CNoValueAware<CFloor<TResult, TOperand>>;

/// "Ceil": the smallest whole number not below x.
template <class TResult, class TOperand>
using CCeil = CUnaryFunction<Guarded<RoundUp>, TResult, TOperand>;
template <class TResult, class TOperand>
using CCeilNV = CNoValueAware<CCeil<TResult, TOperand>>;

/// "Round": the largest whole number not above x + 0.5.
template <class T>
using CRound = CUnaryFunction<Guarded<RoundHalfUp>, T, T>;
template <class T>
using CRoundNV = CNoValueAware<CRound<T>>;

/// The rows of this topic.
std::span<const Family> UnaryMathematicsFamilies() noexcept;

} // namespace Velmarosk::Operation
