/// Limits: a boolean that rises when a value crosses a limit and falls after the value has come back past a hysteresis.
/// All comparisons are strict, so a value exactly on a threshold changes nothing, and neither does a NaN. The result is
/// written only when it changes.
#pragma once

#include "core/Message.h"
#include "core/Operation.h"
#include "core/OperationRows.h"

#include <concepts>

namespace Velmarosk::Operation {

enum class Side { Upper, Lower };

/// What all limits share: the state, and operand 1 (the value) and 2 (a limit), both in the units of the value.
///
/// Parameters: one, under the type letter of the row: the hysteresis in the units of the value. Reset: the limit counts
/// as not exceeded; the result stays as it is. NoValue also resets: the value has to cross the limit again.
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

    /// Writes the result's marker and forgets that the limit was exceeded. Always returns false.
    bool RefuseNoValue() {
        resultRef.Write(resultNoValue);
        this->Reset();
        return false;
    }

    /// Called while the limit is exceeded.
    void UpdateHysteresis() noexcept {}
    ValueRef<T> LimitRef(Side /*side*/) const noexcept { return operand2Ref; }

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
        // Only one of the two texts has a colon after the function.
        ReportMessage(level, std::same_as<T, Float32> ? "Error in CLimit::Initialize() type must be Float32"
                                                      : "Error in CLimit::Initialize(): type must be Float64");
        return false;
    }
    hysteresis = parameters.NextSample<T>();
    return true;
}

/// What the limits on a band share: operand 2 is its upper limit and operand 3 its lower one. The parameter is the
/// hysteresis in percent of the band's width. While the limit is exceeded, each sample computes the absolute hysteresis
/// from it.
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
        // Also after a refusal: then the absolute hysteresis in use becomes the percentage.
        hysteresisPercent = this->hysteresis;
        return isAccepted;
    }
    virtual void UpdateHysteresis() noexcept {
        this->hysteresis = (this->operand2Ref.Read() - operand3Ref.Read()) * (hysteresisPercent / T{100});
    }

protected:
    ValueRef<T> LimitRef(Side side) const noexcept { return side == Side::Upper ? this->operand2Ref : operand3Ref; }
    bool IsOperand3NoValue() const noexcept { return HoldsNoValue(operand3Ref, hasOperand3NoValue, operand3NoValue); }

    ValueRef<T> operand3Ref;
    NoValueFlag hasOperand3NoValue;
    T operand3NoValue = 0;
    T hysteresisPercent = 0;
};

/// A limit on one side. TLimit is CLimit or CLimit2. Execute returns true.
template <Side side, class TLimit>
class CSidedLimit : public TLimit {
public:
    using TLimit::TLimit;
    bool Execute() override {
        constexpr bool isUpper = side == Side::Upper;
        const auto value = this->operand1Ref.Read();
        const auto limit = this->LimitRef(side).Read();
        if (this->limitExceeded) {
            TLimit::UpdateHysteresis();
            if (isUpper ? limit - this->hysteresis > value : value > limit + this->hysteresis)
                this->ChangeTo(false);
        } else if (isUpper ? value > limit : limit > value) {
            this->ChangeTo(true);
        }
        return true;
    }
};

/// "UpperLimit" with two operands: whether the value went above the limit. Falls when the value is more than the
/// hysteresis below the limit.
template <class T>
using CUpperLimit = CSidedLimit<Side::Upper, CLimit<T>>;
template <class T>
using CUpperLimitNV = CNoValueAware<CUpperLimit<T>>;

/// "LowerLimit" with two operands: whether the value went below the limit. Falls when the value is more than the
/// hysteresis above the limit.
template <class T>
using CLowerLimit = CSidedLimit<Side::Lower, CLimit<T>>;
template <class T>
using CLowerLimitNV = CNoValueAware<CLowerLimit<T>>;

/// "UpperLimit" with three operands: as with two, for the upper limit. The lower one is read only while the limit is
/// exceeded.
template <class T>
using CUpperLimit2 = CSidedLimit<Side::Upper, CLimit2<T>>;
template <class T>
using CUpperLimit2NV = CNoValueAware<CUpperLimit2<T>>;

/// "LowerLimit" with three operands: as with two, for the lower limit. The upper one is read only while the limit is
/// exceeded.
template <class T>
using CLowerLimit2 = CSidedLimit<Side::Lower, CLimit2<T>>;
template <class T>
using CLowerLimit2NV = CNoValueAware<CLowerLimit2<T>>;

/// The rows of this topic.
std::span<const Family> LimitFamilies() noexcept;

} // namespace Velmarosk::Operation
