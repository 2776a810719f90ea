/// Integrals and slopes over time, from one sample to the next. With one operand the time step is a parameter; with two
/// the second operand is the time. All calculations have the type and precision of the channels.
#pragma once

#include "core/Arithmetic.h"
#include "core/OperationRows.h"

namespace Velmarosk::Operation {

/// Twin of the operations that start over after a sample without value, as after Reset.
template <class TPlain>
class CRestartedByNoValue final : public TPlain {
public:
    using TPlain::TPlain;
    bool Execute() override {
        if (this->CheckNoValue())
            return TPlain::Execute();
        this->Reset();
        return false;
    }
};

/// What the operations with a fixed time step have in common: the step, the previous value, and an optional starting
/// value in place of a previous one.
template <class TResult, class TOperand>
class CFixedStepOperation : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() == 0)
            return false;
        deltaTime = parameters.NextSample<TResult>();
        if (parameters.Count() == 2) {
            oldValue = initialValue = parameters.NextSample<TResult>();
            hasOldValue = hasInitialValue = true;
        }
        return true;
    }

    void Reset() override {
        oldValue = initialValue;
        hasOldValue = hasInitialValue;
    }

protected:
    /// The area under the line from the previous value to x.
    TResult Trapezoid(TResult x) const noexcept {
        return MultiplyInOrder(MultiplyInOrder(AddInOrder(x, oldValue), TResult{0.5}), deltaTime);
    }

    TResult oldValue = 0;
    TResult deltaTime = 0;
    TResult initialValue = 0;
    bool hasOldValue = false;
    bool hasInitialValue = false;
};

/// "Integral" with one operand: the area of the last interval, not a total. The first sample after a start without a
/// starting value only fills the memory. Parameters: the time step, then optionally the starting value.
template <class TResult, class TOperand>
class CIntegral : public CFixedStepOperation<TResult, TOperand> {
public:
    using CFixedStepOperation<TResult, TOperand>::CFixedStepOperation;

    bool Execute() override {
        const TResult x = this->operandRef.Read();
        if (this->hasOldValue)
            this->resultRef.Write(this->Trapezoid(x));
        this->hasOldValue = true;
        this->oldValue = x;
        return true;
    }
};
template <class TResult, class TOperand>
using CIntegralNV = CRestartedByNoValue<CIntegral<TResult, TOperand>>;

/// "IntegralAdd" with one operand: the running total of the areas. Parameters as those of "Integral". Reset clears the
/// total, Initialize does not.
template <class TResult, class TOperand>
class CIntegralAdd : public CIntegral<TResult, TOperand> {
public:
    using CIntegral<TResult, TOperand>::CIntegral;

    bool Execute() override {
        const TResult x = this->operandRef.Read();
        if (this->hasOldValue) {
            sum = AddInOrder(this->Trapezoid(x), sum);
            this->resultRef.Write(sum);
        }
        this->hasOldValue = true;
        this->oldValue = x;
        return true;
    }

    void Reset() override {
        CIntegral<TResult, TOperand>::Reset();
        sum = 0;
    }

private:
    TResult sum = 0;
};
template <class TResult, class TOperand>
using CIntegralAddNV = CRestartedByNoValue<CIntegralAdd<TResult, TOperand>>;

/// "UpperIntegral" with one operand: the rectangle under the current sample. Parameter: the time step. No memory.
template <class TResult, class TOperand>
class CUpperIntegral : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Execute() override {
        this->resultRef.Write(MultiplyInOrder(this->operandRef.Read(), deltaTime));
        return true;
    }

    bool Initialize(Parameters& parameters) override { return parameters.TakeOnly(deltaTime); }

private:
    TResult deltaTime = 0;
};
template <class TResult, class TOperand>
using CUpperIntegralNV = CNoValueAware<CUpperIntegral<TResult, TOperand>>;

/// "Differential" with one operand: the slope of the last interval. Parameters as those of "Integral". While the time
/// step is not above 0, each sample is refused, and the memory stops as well.
template <class TResult, class TOperand>
class CDifferential : public CFixedStepOperation<TResult, TOperand> {
public:
    using CFixedStepOperation<TResult, TOperand>::CFixedStepOperation;

    bool Execute() override {
        if (!(this->deltaTime > 0))
            return false;
        const TResult x = this->operandRef.Read();
        if (this->hasOldValue)
            this->resultRef.Write(DivideInOrder(SubtractInOrder(x, this->oldValue), this->deltaTime));
        this->hasOldValue = true;
        this->oldValue = x;
        return true;
    }
};
template <class TResult, class TOperand>
using CDifferentialNV = CRestartedByNoValue<CDifferential<TResult, TOperand>>;

/// What the operations with a time channel have in common: the previous value and its time, and an optional starting
/// point in place of them.
template <class TResult, class TOperand1, class TOperand2>
class CTimedOperation : public CBinaryOperation<TResult, TOperand1, TOperand2> {
public:
    using CBinaryOperation<TResult, TOperand1, TOperand2>::CBinaryOperation;

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() != 2)
            return true;
        oldValue = initialValue = parameters.NextSample<TResult>();
        oldTime = initialTime = parameters.NextSample<TResult>();
        hasOldValue = hasInitialValue = true;
        return true;
    }

    void Reset() override {
        oldValue = initialValue;
        oldTime = initialTime;
        hasOldValue = hasInitialValue;
    }

protected:
    TResult Trapezoid(TResult x, TResult t) const noexcept {
        return MultiplyInOrder(MultiplyInOrder(AddInOrder(x, oldValue), TResult{0.5}), SubtractInOrder(t, oldTime));
    }

    void Remember(TResult x, TResult t) noexcept {
        hasOldValue = true;
        oldValue = x;
        oldTime = t;
    }

    TResult oldValue = 0;
    TResult oldTime = 0;
    TResult initialValue = 0;
    TResult initialTime = 0;
    bool hasOldValue = false;
    bool hasInitialValue = false;
};

/// "Integral" with two operands, value and time: the area of the last interval. Parameters: none, or a starting value
/// and its time; other counts are accepted and ignored.
template <class TResult, class TOperand1, class TOperand2>
class CIntegral2 : public CTimedOperation<TResult, TOperand1, TOperand2> {
public:
    using CTimedOperation<TResult, TOperand1, TOperand2>::CTimedOperation;

    bool Execute() override {
        const TResult x = this->operand1Ref.Read();
        const TResult t = this->operand2Ref.Read();
        if (this->hasOldValue)
            this->resultRef.Write(this->Trapezoid(x, t));
        this->Remember(x, t);
        return true;
    }
};
template <class TResult, class TOperand1, class TOperand2>
using CIntegral2NV = CRestartedByNoValue<CIntegral2<TResult, TOperand1, TOperand2>>;

/// "IntegralAdd" with two operands, value and time: the running total. Parameters as those of "Integral". Reset clears
/// the total, Initialize does not.
template <class TResult, class TOperand1, class TOperand2>
class CIntegral2Add : public CIntegral2<TResult, TOperand1, TOperand2> {
public:
    using CIntegral2<TResult, TOperand1, TOperand2>::CIntegral2;

    bool Execute() override {
        const TResult x = this->operand1Ref.Read();
        const TResult t = this->operand2Ref.Read();
        if (this->hasOldValue) {
            sum = AddInOrder(this->Trapezoid(x, t), sum);
            this->resultRef.Write(sum);
        }
        this->Remember(x, t);
        return true;
    }

    void Reset() override {
        CIntegral2<TResult, TOperand1, TOperand2>::Reset();
        sum = 0;
    }

private:
    TResult sum = 0;
};
template <class TResult, class TOperand1, class TOperand2>
using CIntegral2AddNV = CRestartedByNoValue<CIntegral2Add<TResult, TOperand1, TOperand2>>;

/// "UpperIntegral" with two operands, value and time: the rectangle under the current sample, back to the previous
/// time. The first sample is no exception: it counts from the starting time. Parameter: the starting time; any other
/// number of parameters sets it to 0.
template <class TResult, class TOperand1, class TOperand2>
class CUpperIntegral2 : public CBinaryOperation<TResult, TOperand1, TOperand2> {
public:
    using CBinaryOperation<TResult, TOperand1, TOperand2>::CBinaryOperation;

    bool Execute() override {
        const TResult x = this->operand1Ref.Read();
        const TResult t = this->operand2Ref.Read();
        this->resultRef.Write(MultiplyInOrder(SubtractInOrder(t, oldTime), x));
        oldTime = t;
        return true;
    }

    bool Initialize(Parameters& parameters) override {
        oldTime = initialTime = parameters.Count() == 1 ? parameters.NextSample<TResult>() : TResult{0};
        return true;
    }

    void Reset() override { oldTime = initialTime; }

private:
    TResult oldTime = 0;
    TResult initialTime = 0;
};
/// A sample without value does not change the previous time.
template <class TResult, class TOperand1, class TOperand2>
using CUpperIntegral2NV = CNoValueAware<CUpperIntegral2<TResult, TOperand1, TOperand2>>;

/// "Differential" with two operands, value and time: the slope of the last interval. Parameters as those of "Integral".
/// A sample whose time does not advance is refused, but unlike with a fixed step it enters the memory.
template <class TResult, class TOperand1, class TOperand2>
class CDifferential2 : public CTimedOperation<TResult, TOperand1, TOperand2> {
public:
    using CTimedOperation<TResult, TOperand1, TOperand2>::CTimedOperation;

    bool Execute() override {
        const TResult x = this->operand1Ref.Read();
        const TResult t = this->operand2Ref.Read();
        const TResult step = SubtractInOrder(t, this->oldTime);
        const bool accepted = !this->hasOldValue || step > 0;
        if (this->hasOldValue && accepted)
            this->resultRef.Write(DivideInOrder(SubtractInOrder(x, this->oldValue), step));
        this->Remember(x, t);
        return accepted;
    }
};
template <class TResult, class TOperand1, class TOperand2>
using CDifferential2NV = CRestartedByNoValue<CDifferential2<TResult, TOperand1, TOperand2>>;

/// The rows of this topic.
std::span<const Family> IntegrationFamilies() noexcept;

} // namespace Velmarosk::Operation
