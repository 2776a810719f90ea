/// Operations without memory, made from a function object that knows numbers only. The object returns the value, or a
/// std::optional where it may refuse. An empty one leaves the result untouched, and Execute returns false.
#pragma once

#include "core/Operation.h"

#include <cmath>
#include <concepts>
#include <optional>

namespace Velmarosk::Operation {

template <Sample T>
bool WriteValue(ValueRef<T> result, T value) noexcept {
    result.Write(value);
    return true;
}

template <Sample T>
bool WriteValue(ValueRef<T> result, std::optional<T> value) noexcept {
    if (value)
        result.Write(*value);
    return value.has_value();
}

/// A function whose value is refused if it is infinite or a NaN. The operands are not tested.
template <class TFunction>
struct Guarded {
    template <FloatSample T, std::same_as<T>... TOthers>
    std::optional<T> operator()(T first, TOthers... others) const noexcept {
        const T value = TFunction{}(first, others...);
        if (!std::isfinite(value))
            return std::nullopt;
        return value;
    }
};

template <class TFunction, Sample TResult, Sample TOperand>
class CUnaryFunction : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;
    bool Execute() override { return WriteValue(this->resultRef, TFunction{}(this->operandRef.Read())); }
};

template <class TFunction, Sample TResult, Sample TOperand1, Sample TOperand2>
class CBinaryFunction : public CBinaryOperation<TResult, TOperand1, TOperand2> {
public:
    using CBinaryOperation<TResult, TOperand1, TOperand2>::CBinaryOperation;
    bool Execute() override {
        return WriteValue(this->resultRef, TFunction{}(this->operand1Ref.Read(), this->operand2Ref.Read()));
    }
};

} // namespace Velmarosk::Operation
