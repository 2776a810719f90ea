/// Limits: a boolean that rises when a value crosses a limit and falls after the value has come back past a hysteresis.
/// All comparisons are strict, so a value that rests exactly on a threshold changes nothing, and neither does a NaN.
/// The result is written at a change only.
#pragma once

#include "core/Message.h"
#include "core/Operation.h"
#include "core/OperationRows.h"

#include <concepts>

namespace Velmarosk::Operation {

/// What all limits share: the state, and operand 1 (the value) and 2 (a limit), both in the units of the value.
///
/// Parameters: one, under the type letter of the row: the hysteresis in the units of the value.
/// Reset: the limit counts as not exceeded; the result stays as it is.
/// A NoValue also resets: the value has to cross the limit anew.
template <FloatSample T>
class CLimit : public COperation {
public:
    [[gnu::noinline]] explicit CLimit(const References& references) noexcept
        : resultRef(references.At<Boolean>(0)),
          operand1Ref(references.At<T>(1)),
          operand2Ref(references.At<T>(2)),
          resultNoValue(resultRef.Read()) {
        CaptureNoValue(operand1Ref, hasOperand1NoValue, operand1NoValue);
        CaptureNoValue(operand2Ref, hasOperand2NoValue, operand2NoValue);
    }

    bool CheckNoValue() override { return (!IsOperand1NoValue() && !IsOperand2NoValue()) || RefuseNoValue(); }
    bool Initialize(Parameters& parameters) override;
    void Reset() override { limitExceeded = false; }

protected:
    bool IsOperand1NoValue() const noexcept { return HoldsNoValue(operand1Ref, hasOperand1NoValue, operand1NoValue); }
    bool IsOperand2NoValue() const noexcept { return HoldsNoValue(operand2Ref, hasOperand2NoValue, operand2NoValue); }

    /// Writes the result's marker and forgets that the limit was exceeded. Always false.
    bool RefuseNoValue() {
        resultRef.Write(resultNoValue);
        this->Reset();
        return false;
    }

    void ChangeTo(bool isExceeded) noexcept {
        limitExceeded = isExceeded;
        resultRef.Write(isExceeded);
    }

    T hysteresis = 0;
    bool limitExceeded = false;
    ValueRef<Boolean> resultRef;
    ValueRef<T> operand1Ref;
    ValueRef<T> operand2Ref;
    NoValueFlag hasOperand1NoValue;
    NoValueFlag hasOperand2NoValue;
    Boolean resultNoValue;
    T operand1NoValue = 0;
    T operand2NoValue = 0;
};

template <FloatSample T>
bool CLimit<T>::Initialize(Parameters& parameters) {
    if (parameters.Count() != 1)
        return false;
    if (TypeCodeFromLetter(parameters.Signature().front()) != TypeCodeFromLetter(letterOf<T>)) {
        constexpr int level = 2;
        // Intended: only one of the two texts has a colon behind the function.
        ReportMessage(level, std::same_as<T, Float32> ? "Error in CLimit::Initialize() type must be Float32"
                                                      : "Error in CLimit::Initialize(): type must be Float64");
        return false;
    }
    hysteresis = parameters.NextSample<T>();
    return true;
}

/// "UpperLimit" with two operands: whether the value (operand 1) went above the limit (operand 2). Falls when the value
/// is below the limit by more than the hysteresis. Execute returns true.
template <class T>
class CUpperLimit : public CLimit<T> {
public:
    using CLimit<T>::CLimit;
    bool Execute() override {
        const T value = this->operand1Ref.Read();
        const T limit = this->operand2Ref.Read();
        if (this->limitExceeded) {
            if (limit - this->hysteresis > value)
                this->ChangeTo(false);
        } else if (value > limit) {
            this->ChangeTo(true);
        }
        return true;
    }
};
template <class T>
using CUpperLimitNV = CNoValueAware<CUpperLimit<T>>;

/// "LowerLimit" with two operands: whether the value (operand 1) went below the limit (operand 2). Falls when the value
/// is above the limit by more than the hysteresis. Execute returns true.
template <class T>
class CLowerLimit : public CLimit<T> {
public:
    using CLimit<T>::CLimit;
    bool Execute() override {
        const T value = this->operand1Ref.Read();
        const T limit = this->operand2Ref.Read();
        if (this->limitExceeded) {
            if (value > limit + this->hysteresis)
                this->ChangeTo(false);
        } else if (limit > value) {
            this->ChangeTo(true);
        }
        return true;
    }
};
template <class T>
using CLowerLimitNV = CNoValueAware<CLowerLimit<T>>;

/// What the limits on a band share: operand 2 is its upper limit and operand 3 its lower one. The parameter is the
/// hysteresis in percent of the band's width, from which the absolute one is made anew while the limit is exceeded.
template <FloatSample T>
class CLimit2 : public CLimit<T> {
public:
    [[gnu::noinline]] explicit CLimit2(const References& references) noexcept
        : CLimit<T>(references), operand3Ref(references.At<T>(3)) {
        CaptureNoValue(operand3Ref, hasOperand3NoValue, operand3NoValue);
    }

    bool CheckNoValue() override {
        return (!this->IsOperand1NoValue() && !this->IsOperand2NoValue() && !IsOperand3NoValue()) ||
               this->RefuseNoValue();
    }
    bool Initialize(Parameters& parameters) override {
        const bool isAccepted = CLimit<T>::Initialize(parameters);
        // Intended after a refusal too: the absolute hysteresis that is in use then becomes the percentage.
        hysteresisPercent = this->hysteresis;
        return isAccepted;
    }
    virtual void UpdateHysteresis() {
        this->hysteresis = (this->operand2Ref.Read() - operand3Ref.Read()) * (hysteresisPercent / T{100});
    }

protected:
    bool IsOperand3NoValue() const noexcept { return HoldsNoValue(operand3Ref, hasOperand3NoValue, operand3NoValue); }

    ValueRef<T> operand3Ref;
    NoValueFlag hasOperand3NoValue;
    T operand3NoValue = 0;
    T hysteresisPercent = 0;
};

/// "UpperLimit" with three operands: whether the value (operand 1) went above the upper limit (operand 2). Falls when
/// the value is below that limit by more than the hysteresis. Operand 3 is read while the limit is exceeded only.
/// Execute returns true.
template <class T>
class CUpperLimit2 : public CLimit2<T> {
public:
    using CLimit2<T>::CLimit2;
    bool Execute() override {
        if (this->limitExceeded) {
            this->UpdateHysteresis();
            if (this->operand2Ref.Read() - this->hysteresis > this->operand1Ref.Read())
                this->ChangeTo(false);
        } else if (this->operand1Ref.Read() > this->operand2Ref.Read()) {
            this->ChangeTo(true);
        }
        return true;
    }
};
template <class T>
using CUpperLimit2NV = CNoValueAware<CUpperLimit2<T>>;

/// "LowerLimit" with three operands: whether the value (operand 1) went below the lower limit (operand 3). Falls when
/// the value is above that limit by more than the hysteresis. Operand 2 is read while the limit is exceeded only.
/// Execute returns true.
template <class T>
class CLowerLimit2 : public CLimit2<T> {
public:
    using CLimit2<T>::CLimit2;
    bool Execute() override {
        if (this->limitExceeded) {
            this->UpdateHysteresis();
            if (this->operand1Ref.Read() > this->operand3Ref.Read() + this->hysteresis)
                this->ChangeTo(false);
        } else if (this->operand3Ref.Read() > this->operand1Ref.Read()) {
            this->ChangeTo(true);
        }
        return true;
    }
};
template <class T>
using CLowerLimit2NV = CNoValueAware<CLowerLimit2<T>>;

/// The rows of this topic.
std::span<const Family> LimitFamilies() noexcept;

} // namespace Velmarosk::Operation
