/// Operations about NoValue itself. Their plain and NoValue-aware forms compute different things. Families differ in
/// which form computes at all, and in whether they look at the flag that an operand has a marker.
#pragma once

#include "core/Arithmetic.h"
#include "core/FunctionOperations.h"
#include "core/OperationRows.h"
#include "platform/TickCount.h"

namespace Velmarosk::Operation {

/// "Valid" with one operand, plain: does nothing; Execute returns false. No parameters, no state.
template <Sample TResult, Sample TOperand>
class CValid : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;
    bool Execute() override { return false; }
};

/// The NoValue-aware "Valid" with one operand: 1 if the operand holds a sample, 0 if it holds its NoValue. Execute
/// returns true. An operand without a marker counts as NoValue when it is 0.
template <Sample TResult, Sample TOperand>
class CValidNV final : public CValid<TResult, TOperand> {
public:
    using CValid<TResult, TOperand>::CValid;
    bool Execute() override {
        const bool isNoValue = EqualsNoValue(this->operandRef, this->hasOperandNoValue, this->operandNoValue);
        return WriteValue(this->resultRef, static_cast<TResult>(!isNoValue));
    }
};

/// "Valid" with two operands, plain: does nothing; Execute returns false. No parameters, no state.
template <Sample TResult, Sample TOperand1, Sample TOperand2>
class CValid2 : public CBinaryOperation<TResult, TOperand1, TOperand2> {
public:
    using CBinaryOperation<TResult, TOperand1, TOperand2>::CBinaryOperation;
    bool Execute() override { return false; }
};

/// The NoValue-aware "Valid" with two operands: the sample of the first operand that holds one. If none does, the
/// result's NoValue, and Execute returns false. An operand without a marker counts as NoValue when it is 0.
template <Sample TResult, Sample TOperand1, Sample TOperand2>
class CValid2NV final : public CValid2<TResult, TOperand1, TOperand2> {
public:
    using CValid2<TResult, TOperand1, TOperand2>::CValid2;
    bool Execute() override {
        if (!EqualsNoValue(this->operand1Ref, this->hasOperand1NoValue, this->operand1NoValue))
            return WriteValue(this->resultRef, this->operand1Ref.Read());
        if (!EqualsNoValue(this->operand2Ref, this->hasOperand2NoValue, this->operand2NoValue))
            return WriteValue(this->resultRef, this->operand2Ref.Read());
        return this->WriteNoValue();
    }
};

/// "IsNoValue" with one operand: 1 once the operand has been NoValue for longer than a delay by the tick counter, else
/// 0. While the delay runs, the result is not written again. Execute returns true.
///
/// Parameter, the first one given: delay in seconds (Float64), cut to whole milliseconds of which 32 bits are kept; 0
/// if none is given. Initialize returns true. Reset ends a running delay and keeps its length. Both forms use this
/// class.
template <Sample TResult, Sample TOperand>
class CIsNoValue : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Initialize(Parameters& parameters) override {
        const Float64 seconds = parameters.Count() > 0 ? parameters.NextFloat64() : 0.0;
        delayMilliseconds = static_cast<UInt32>(TruncateToSInt64(seconds * 1000.0));
        return true;
    }

    void Reset() override { timerRunning = false; }

    bool Execute() override {
        if (!this->IsOperandNoValue()) {
            timerRunning = false;
            return WriteValue(this->resultRef, TResult{0});
        }
        if (delayMilliseconds == 0)
            return WriteValue(this->resultRef, TResult{1});
        if (!timerRunning) {
            timerRunning = true;
            startTick = Platform::GetTickCount();
            return WriteValue(this->resultRef, TResult{0});
        }
        if (Platform::MillisecondsSince(startTick) <= delayMilliseconds)
            return true;
        return WriteValue(this->resultRef, TResult{1});
    }

private:
    bool timerRunning = false;
    UInt32 startTick = 0;
    UInt32 delayMilliseconds = 0;
};
template <class TResult, class TOperand>
using CIsNoValueNV = CIsNoValue<TResult, TOperand>;

/// "IsNoValue" with two operands, plain: 1 once operand 1 has been NoValue for longer than a delay by the time channel
/// in operand 2, else 0. Operand 2 is never tested for NoValue, and is read only if there is a delay. Execute returns
/// true.
///
/// Parameter, the first one given: delay in the unit of operand 2 (Float64, narrowed on Float32); 0 if none is given.
/// Initialize returns true. After Reset the delay begins anew with the next sample.
template <Sample TResult, FloatSample TOperand1, FloatSample TOperand2>
class CIsNoValue2 : public CBinaryOperation<TResult, TOperand1, TOperand2> {
public:
    using CBinaryOperation<TResult, TOperand1, TOperand2>::CBinaryOperation;

    bool Initialize(Parameters& parameters) override {
        delay = parameters.Count() > 0 ? parameters.NextSample<TOperand2>() : 0;
        return true;
    }

    void Reset() override { firstRun = true; }

    bool Execute() override {
        if (firstRun) {
            KeepTime();
            firstRun = false;
        }
        if (this->IsOperand1NoValue()) {
            const bool isOver = !(delay > 0) || this->operand2Ref.Read() - lastValidTime > delay;
            return WriteValue(this->resultRef, static_cast<TResult>(isOver));
        }
        KeepTime();
        return WriteValue(this->resultRef, TResult{0});
    }

private:
    void KeepTime() noexcept {
        if (delay > 0)
            lastValidTime = this->operand2Ref.Read();
    }

    bool firstRun = true;
    TOperand2 lastValidTime = 0;
    TOperand2 delay = 0;
};

/// The NoValue-aware "IsNoValue" with two operands does nothing; Execute returns false.
template <Sample TResult, FloatSample TOperand1, FloatSample TOperand2>
class CIsNoValue2NV final : public CIsNoValue2<TResult, TOperand1, TOperand2> {
public:
    using CIsNoValue2<TResult, TOperand1, TOperand2>::CIsNoValue2;
    bool Execute() override { return false; }
};

/// "NoValueAlarm", plain: does nothing; Execute returns false.
///
/// Parameters, exactly two: the duration of a sample in seconds (Float64, 0 before) and the limit in milliseconds
/// (UInt32, 0 before). Reset clears the alarm and the count and keeps the parameters.
template <Sample TResult, Sample TOperand>
class CNoValueAlarm : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() != 2)
            return false;
        sampleMilliseconds = parameters.NextFloat64() * 1000.0;
        limitMilliseconds = parameters.NextUInt32();
        return true;
    }

    void Reset() override {
        alarm = false;
        noValueCount = 0;
    }

    bool Execute() override { return false; }

protected:
    Float64 sampleMilliseconds = 0.0;
    UInt32 limitMilliseconds = 0;
    UInt32 noValueCount = 0;
    bool alarm = false;
};

/// The NoValue-aware "NoValueAlarm": 1 from the sample at which a run of NoValue samples has lasted longer than the
/// limit, until the next valid sample; else 0. Time is counted in samples. Execute returns true. An operand without a
/// marker counts as NoValue when it is 0.
template <Sample TResult, Sample TOperand>
class CNoValueAlarmNV final : public CNoValueAlarm<TResult, TOperand> {
public:
    using CNoValueAlarm<TResult, TOperand>::CNoValueAlarm;

    bool Execute() override {
        if (!EqualsNoValue(this->operandRef, this->hasOperandNoValue, this->operandNoValue)) {
            this->noValueCount = 0;
            this->alarm = false;
        } else if (!this->alarm) {
            ++this->noValueCount;
            this->alarm = RunMilliseconds() > this->limitMilliseconds;
        }
        return WriteValue(this->resultRef, static_cast<TResult>(this->alarm));
    }

private:
    UInt32 RunMilliseconds() const noexcept {
        return static_cast<UInt32>(
            TruncateToSInt64(static_cast<Float64>(this->noValueCount) * this->sampleMilliseconds));
    }
};

/// "If": operand 2 if operand 1 is true, else operand 3. The other one is not read. No parameters, no state; Execute
/// returns true.
template <Sample TResult, Sample TOperand1, Sample TOperand2, Sample TOperand3>
class CIfThenElse : public CTernaryOperation<TResult, TOperand1, TOperand2, TOperand3> {
public:
    using CTernaryOperation<TResult, TOperand1, TOperand2, TOperand3>::CTernaryOperation;
    bool Execute() override {
        const bool condition = this->operand1Ref.Read() != 0;
        return WriteValue(this->resultRef, (condition ? this->operand2Ref : this->operand3Ref).Read());
    }
};

/// The NoValue-aware "If" tests the condition and the operand that it selects for NoValue, not the other one. It tests
/// the condition's marker before its truth.
template <Sample TResult, Sample TOperand1, Sample TOperand2, Sample TOperand3>
class CIfThenElseNV final : public CIfThenElse<TResult, TOperand1, TOperand2, TOperand3> {
public:
    using CIfThenElse<TResult, TOperand1, TOperand2, TOperand3>::CIfThenElse;
    bool Execute() override {
        if (this->IsOperand1NoValue())
            return this->WriteNoValue();
        if (this->operand1Ref.Read() != 0)
            return this->IsOperand2NoValue() ? this->WriteNoValue()
                                             : WriteValue(this->resultRef, this->operand2Ref.Read());
        return this->IsOperand3NoValue() ? this->WriteNoValue() : WriteValue(this->resultRef, this->operand3Ref.Read());
    }
};

/// The rows of this topic.
std::span<const Family> ValidityFamilies() noexcept;

} // namespace Velmarosk::Operation
