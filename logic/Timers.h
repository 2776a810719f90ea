/// Monoflops answer an edge of their trigger with a pulse, timeouts report that a value has not changed for some time.
/// Both come in two forms: the plain one takes its time from the tick counter, the one with a 2 from a time channel,
/// its last operand. Execute returns true; the twins return false with the result's NoValue while an operand holds its
/// own, and keep their state then, so that a running pulse does not end in that sample.
#pragma once

#include "core/Arithmetic.h"
#include "core/OperationRows.h"
#include "logic/ChangeRecogniser.h"
#include "platform/TickCount.h"

namespace Velmarosk::Operation {

/// "MonoFlop" with one operand: 1 from an edge of the operand on until more than the duration has passed. The result is
/// written where the pulse begins or ends only. A pulse that is over ends before the trigger is looked at, so an edge
/// in the same sample begins the next one.
///
/// Parameters: the duration in seconds, a true Float32 in the low 32 bits of a floating argument, kept in whole
/// milliseconds, 0 by default; whether an edge during a pulse begins it anew, in the low 16 bits of an integer, no by
/// default. Refused without any; the second is taken if there are exactly two.
/// Reset: the trigger counts as 0 and low, and no pulse runs; the parameters stay, and the result does intentionally,
/// even at 1.
template <class TResult, class TTrigger>
class CMonoFlop : public CUnaryOperation<TResult, TTrigger> {
public:
    using CUnaryOperation<TResult, TTrigger>::CUnaryOperation;

    bool Execute() override {
        if (running && Platform::MillisecondsSince(startTick) > durationMs) {
            this->resultRef.Write(0);
            running = false;
        }
        if (trigger.IsEdge(this->operandRef.Read()) && (!running || retrigger)) {
            this->resultRef.Write(1);
            running = true;
            startTick = Platform::GetTickCount();
        }
        return true;
    }

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() == 0)
            return false;
        const auto seconds = static_cast<Float64>(parameters.NextPackedFloat32());
        durationMs = static_cast<UInt32>(TruncateToSInt64(seconds * 1000.0)); // what is too long wraps
        if (parameters.Count() == 2)
            retrigger = parameters.NextSample<UInt16>() > 0;
        return true;
    }

    void Reset() override {
        trigger = {};
        running = false;
        startTick = 0;
    }

private:
    ChangeRecogniser<TTrigger> trigger;
    bool running = false;
    bool retrigger = false;
    UInt32 startTick = 0;
    UInt32 durationMs = 0;
};
template <class TResult, class TTrigger>
using CMonoFlopNV = CNoValueAware<CMonoFlop<TResult, TTrigger>>;

/// "MonoFlop" with two operands: as the one with one operand, in the time of operand 2, which the plain class reads
/// only while a pulse runs and where one begins.
///
/// Parameters: the duration in the unit of operand 2, a double, 0 by default; whether an edge during a pulse begins it
/// anew, in the low 32 bits of an integer, no by default. Refused without any; the second is taken if there are exactly
/// two.
/// Reset: as there.
template <class TResult, class TTrigger, class TTime>
class CMonoFlop2 : public CBinaryOperation<TResult, TTrigger, TTime> {
public:
    using CBinaryOperation<TResult, TTrigger, TTime>::CBinaryOperation;

    bool Execute() override {
        if (running && this->operand2Ref.Read() - startTime > duration) {
            this->resultRef.Write(0);
            running = false;
        }
        if (trigger.IsEdge(this->operand1Ref.Read()) && (!running || retrigger)) {
            this->resultRef.Write(1);
            running = true;
            startTime = this->operand2Ref.Read();
        }
        return true;
    }

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() == 0)
            return false;
        duration = parameters.NextSample<TTime>();
        if (parameters.Count() == 2)
            retrigger = parameters.NextUInt32() > 0;
        return true;
    }

    void Reset() override {
        trigger = {};
        running = false;
        startTime = 0;
    }

private:
    ChangeRecogniser<TTrigger> trigger;
    bool running = false;
    bool retrigger = false;
    TTime startTime = 0;
    TTime duration = 0;
};
template <class TResult, class TTrigger, class TTime>
using CMonoFlop2NV = CNoValueAware<CMonoFlop2<TResult, TTrigger, TTime>>;

/// "Timeout" with two operands: 1 from when operand 1 has not changed for the seconds in operand 2, until it changes.
/// Whole seconds are compared, cut to the operands' type: they intentionally wrap in the narrow types, and in SInt8 and
/// SInt16 they can turn negative. The first sample only begins the timing. The twin lacks the row of SInt16. No
/// parameters. Reset: the next sample is a first one.
template <class TResult, class TValue, class TTimeout>
class CTimeout : public CBinaryOperation<TResult, TValue, TTimeout> {
public:
    using CBinaryOperation<TResult, TValue, TTimeout>::CBinaryOperation;

    bool Execute() override {
        const TValue value = this->operand1Ref.Read();
        const TTimeout timeout = this->operand2Ref.Read();
        if (first || oldValue != value) {
            first = false;
            oldValue = value;
            timedOut = false;
            changeTick = Platform::GetTickCount();
        } else if (!timedOut) {
            const UInt32 seconds = Platform::MillisecondsSince(changeTick) / 1000;
            timedOut = static_cast<TTimeout>(seconds) >= timeout;
        }
        this->resultRef.Write(timedOut);
        return true;
    }

    void Reset() override { first = true; }

private:
    TValue oldValue = 0;
    bool first = true;
    UInt32 changeTick = 0;
    bool timedOut = false;
};
template <class TResult, class TValue, class TTimeout>
using CTimeoutNV = CNoValueAware<CTimeout<TResult, TValue, TTimeout>>;

/// "Timeout" with three operands: 1 from when operand 1 has not changed for operand 2, in the time of operand 3 and its
/// unit, until it changes. Operands 2 and 3 are read only where they are needed. The first sample only begins the
/// timing. No parameters. Reset: the next sample is a first one.
template <class TResult, class TValue, class TTimeout, class TTime>
class CTimeout2 : public CTernaryOperation<TResult, TValue, TTimeout, TTime> {
public:
    using CTernaryOperation<TResult, TValue, TTimeout, TTime>::CTernaryOperation;

    bool Execute() override {
        const TValue value = this->operand1Ref.Read();
        if (first || oldValue != value) {
            first = false;
            timedOut = false;
            changeTime = this->operand3Ref.Read();
            oldValue = value;
        } else if (!timedOut) {
            timedOut = this->operand3Ref.Read() - changeTime >= this->operand2Ref.Read();
        }
        this->resultRef.Write(timedOut);
        return true;
    }

    void Reset() override { first = true; }

private:
    TValue oldValue = 0;
    TTime changeTime = 0;
    bool first = true;
    bool timedOut = false;
};
template <class TResult, class TValue, class TTimeout, class TTime>
using CTimeout2NV = CNoValueAware<CTimeout2<TResult, TValue, TTimeout, TTime>>;

/// The rows of this topic.
std::span<const Family> TimerFamilies() noexcept;

} // namespace Velmarosk::Operation
