/// Edges and triggers: what a channel does over time as a boolean channel, written as 0 or 1 on every sample. Execute
/// returns true. While an operand is NoValue, the NoValue-aware twins write NoValue, return false and keep their state,
/// unless they say otherwise.
#pragma once

#include "core/OperationRows.h"
#include "platform/TickCount.h"

#include <limits>

namespace Velmarosk::Operation {

/// The old value may be equal to the threshold, the new one must not. Comparisons with a NaN are false.
struct RisingPassage {
    static constexpr int defaultThreshold = 0;

    template <Sample T>
    static bool IsPassed(T oldValue, T value, T threshold) noexcept {
        return oldValue <= threshold && value > threshold;
    }
};

/// RisingPassage downward. The default is 1, since a boolean channel falls below 1, not below 0.
struct FallingPassage {
    static constexpr int defaultThreshold = 1;

    template <Sample T>
    static bool IsPassed(T oldValue, T value, T threshold) noexcept {
        return oldValue >= threshold && value < threshold;
    }
};

/// 1 for the one sample in which the operand passes the threshold. The first sample is compared with the initial value.
///
/// Parameters: the threshold, then the initial value, both in the operand's type and unit. Without any, the default
/// threshold is restored. Unless there are exactly two, the initial value is 0. Further ones are ignored. Reset: the
/// initial value becomes the old value again; the threshold stays.
template <class TPassage, class TResult, class TOperand>
class CThresholdEdge : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Execute() override {
        this->resultRef.Write(TPassage::IsPassed(oldValue, this->operandRef.Read(), threshold));
        oldValue = this->operandRef.Read(); // after the result, which may be the same channel
        return true;
    }

    bool Initialize(Parameters& parameters) override {
        threshold = parameters.Count() > 0 ? parameters.NextSample<TOperand>() : TOperand{TPassage::defaultThreshold};
        initialValue = parameters.Count() == 2 ? parameters.NextSample<TOperand>() : TOperand{0};
        oldValue = initialValue;
        return true;
    }

    void Reset() override { oldValue = initialValue; }

private:
    TOperand oldValue = 0;
    TOperand threshold = TPassage::defaultThreshold;
    TOperand initialValue = 0;
};

/// "PosEdge": the operand rises above the threshold, 0 by default.
template <class TResult, class TOperand>
using CPosEdge = CThresholdEdge<RisingPassage, TResult, TOperand>;
template <class TResult, class TOperand>
using CPosEdgeNV = CNoValueAware<CPosEdge<TResult, TOperand>>;

/// "NegEdge": the operand falls below the threshold, 1 by default.
template <class TResult, class TOperand>
using CNegEdge = CThresholdEdge<FallingPassage, TResult, TOperand>;
template <class TResult, class TOperand>
using CNegEdgeNV = CNoValueAware<CNegEdge<TResult, TOperand>>;

/// "IsTic": 1 while the number of Execute calls, including this one, equals the operand. The count stops at the highest
/// value of the operand's type. No parameters. Reset: the count is 0.
template <class TResult, class TOperand>
class CIsTic : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Execute() override {
        if (ticCount != std::numeric_limits<TOperand>::max())
            ++ticCount;
        this->resultRef.Write(ticCount == this->operandRef.Read());
        return true;
    }

    void Reset() override { ticCount = 0; }

private:
    TOperand ticCount = 0;
};
template <class TResult, class TOperand>
using CIsTicNV = CNoValueAware<CIsTic<TResult, TOperand>>;

/// "StartOnlyTrigger": 1 from the first sample that is not 0. After that the operand is no longer read. No parameters.
/// Reset: 0 again.
class CStartOnlyTrigger : public CUnaryOperation<Boolean, Boolean> {
public:
    using CUnaryOperation::CUnaryOperation;

    bool Execute() override {
        if (!state && operandRef.Read() != 0)
            state = true;
        resultRef.Write(state);
        return true;
    }

    void Reset() override { state = false; }

protected:
    bool state = false;
};

/// Keeps its 1 through NoValue: once the trigger is set, nothing looks at the operand.
class CStartOnlyTriggerNV final : public CStartOnlyTrigger {
public:
    using CStartOnlyTrigger::CStartOnlyTrigger;
    bool CheckNoValue() override { return state || CStartOnlyTrigger::CheckNoValue(); }
    bool Execute() override { return CheckNoValue() && CStartOnlyTrigger::Execute(); }
};

/// "StopOnlyTrigger": 0 from the first sample that is not 0. After that the operand is no longer read. No parameters.
/// Reset: 1 again.
class CStopOnlyTrigger : public CUnaryOperation<Boolean, Boolean> {
public:
    using CUnaryOperation::CUnaryOperation;

    bool Execute() override {
        ClearOnStop();
        return WriteState();
    }

    void Reset() override { state = true; }

protected:
    void ClearOnStop() noexcept {
        if (state && operandRef.Read() != 0)
            state = false;
    }
    bool WriteState() noexcept {
        resultRef.Write(state);
        return true;
    }

private:
    bool state = true;
};

/// Never shows NoValue: a NoValue operand only leaves the state alone, and the state overwrites the NoValue that the
/// check wrote into the result.
class CStopOnlyTriggerNV final : public CStopOnlyTrigger {
public:
    using CStopOnlyTrigger::CStopOnlyTrigger;
    bool Execute() override {
        if (CheckNoValue())
            ClearOnStop();
        return WriteState();
    }
};

/// "StartNotStopTriggerPuls": one pulse per Reset. It begins with the first sample that is not 0, and ends with the
/// first 0 after a sample that found the pulse time over. The time is checked only while the operand is not 0, so a 0
/// within the pulse time does not end the pulse. Timed by the tick counter.
///
/// Parameters: the pulse time in seconds, a double, 2 by default; refused without any, further ones are ignored.
/// Reset: ready for the next pulse; the pulse time stays.
class CStartNotStopTriggerPuls : public CUnaryOperation<Boolean, Boolean> {
public:
    using CUnaryOperation::CUnaryOperation;

    bool Execute() override {
        if (operandRef.Read() != 0)
            StartOrLookAtTime();
        else if (started && !open)
            Stop();
        resultRef.Write(state);
        return true;
    }

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() == 0)
            return false;
        pulseSeconds = parameters.NextFloat64();
        return true;
    }

    void Reset() override {
        state = false;
        started = false;
        open = true;
    }

private:
    void StartOrLookAtTime() noexcept {
        if (!started) {
            startTick = Platform::GetTickCount();
            state = true;
            started = true;
        } else if (open && Platform::MillisecondsSince(startTick) / 1000.0 > pulseSeconds) {
            open = false;
        }
    }
    /// `started` stays, so there is only one pulse.
    void Stop() noexcept {
        state = false;
        open = true;
    }

    bool state = false;
    bool started = false;
    bool open = true; ///< the pulse time is not known to be over; falls only after the pulse has begun
    UInt32 startTick = 0;
    Float64 pulseSeconds = 2.0;
};
using CStartNotStopTriggerPulsNV = CNoValueAware<CStartNotStopTriggerPuls>;

/// Operand 1 sets the state; operand 2 clears it while its truth value is `clearingStop`, but only after the state has
/// been written, so each state shows for at least one sample. No parameters. Reset: 0 again.
template <bool clearingStop>
class CHeldTrigger : public CBinaryOperation<Boolean, Boolean, Boolean> {
public:
    using CBinaryOperation::CBinaryOperation;

    bool Execute() override {
        const bool stop = operand2Ref.Read() != 0; // before the result is written, which may be the same channel
        if (operand1Ref.Read() != 0)
            state = true;
        resultRef.Write(state);
        if (stop == clearingStop)
            state = false;
        return true;
    }

    void Reset() override { state = false; }

private:
    bool state = false;
};

/// "StartStopTrigger": 1 from a start in operand 1 to the sample of a stop in operand 2.
using CStartStopTrigger = CHeldTrigger<true>;
using CStartStopTriggerNV = CNoValueAware<CStartStopTrigger>;

/// "StartNotStopTrigger": 1 from a start in operand 1 to the sample in which operand 2 is 0.
using CStartNotStopTrigger = CHeldTrigger<false>;
using CStartNotStopTriggerNV = CNoValueAware<CStartNotStopTrigger>;

/// The rows of this topic.
std::span<const Family> EdgeFamilies() noexcept;

} // namespace Velmarosk::Operation
