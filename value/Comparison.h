/// Comparisons of two operands of one type, written as a boolean. They are those of C++: exact, without tolerance, and
/// false for a NaN, except that a NaN is unequal to everything. No parameters, no state, no refusal.
#pragma once

#include "core/FunctionOperations.h"
#include "core/OperationRows.h"

#include <functional>

namespace Velmarosk::Operation {

template <class TRelation>
struct Comparison {
    template <Sample T>
    Boolean operator()(T a, T b) const noexcept {
        return static_cast<Boolean>(TRelation{}(a, b));
    }
};

/// "Equal"
template <class TResult, class TOperand1, class TOperand2>
using CEqual = CBinaryFunction<Comparison<std::equal_to<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CEqualNV = CNoValueAware<CEqual<TResult, TOperand1, TOperand2>>;

/// "Unequal"
template <class TResult, class TOperand1, class TOperand2>
using CUnequal = CBinaryFunction<Comparison<std::not_equal_to<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CUnequalNV = CNoValueAware<CUnequal<TResult, TOperand1, TOperand2>>;

/// "GreaterThan": operand 1 above operand 2.
template <class TResult, class TOperand1, class TOperand2>
using CGreaterThan = CBinaryFunction<Comparison<std::greater<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CGreaterThanNV = CNoValueAware<CGreaterThan<TResult, TOperand1, TOperand2>>;

/// "LessThan": operand 1 below operand 2.
template <class TResult, class TOperand1, class TOperand2>
using CLessThan = CBinaryFunction<Comparison<std::less<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CLessThanNV = CNoValueAware<CLessThan<TResult, TOperand1, TOperand2>>;

/// "GreaterThanOrEqual": operand 1 at or above operand 2.
template <class TResult, class TOperand1, class TOperand2>
using CGreaterThanOrEqual = CBinaryFunction<Comparison<std::greater_equal<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CGreaterThanOrEqualNV = CNoValueAware<CGreaterThanOrEqual<TResult, TOperand1, TOperand2>>;

/// "LessThanOrEqual": operand 1 at or below operand 2.
template <class TResult, class TOperand1, class TOperand2>
using CLessThanOrEqual = CBinaryFunction<Comparison<std::less_equal<>>, TResult, TOperand1, TOperand2>;
template <class TResult, class TOperand1, class TOperand2>
using CLessThanOrEqualNV = CNoValueAware<CLessThanOrEqual<TResult, TOperand1, TOperand2>>;

/// The rows of this topic.
std::span<const Family> ComparisonFamilies() noexcept;

} // namespace Velmarosk::Operation
