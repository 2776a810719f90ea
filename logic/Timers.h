/// Monoflops answer an edge of their trigger with a pulse, timeouts report that a value has not changed for some time.
/// Both come in two forms: the class without a 2 takes its time from the tick counter, the class with a 2 from a time
/// channel, its last operand. Execute returns true. While an operand is NoValue, the twins write NoValue, return false
/// and keep their state, so a running pulse does not end in that sample.
#pragma once

#include "core/Arithmetic.h"
#include "core/OperationRows.h"
#include "logic/ChangeRecogniser.h"
#include "platform/TickCount.h"

namespace Velmarosk::Operation {

/// The time of the tick counter, in milliseconds.
struct TickTime {
    UInt32 Now() const noexcept { return Platform::GetTickCount(); }
    UInt32 Since(UInt32 start) const noexcept { return Platform::MillisecondsSince(start); }
};

/// The time of an operand, in its own unit.
template <FloatSample T>
struct ChannelTime {
    T Now() const noexcept { return operand.Read(); }
    T Since(T start) const noexcept { return operand.Read() - start; }

    const ValueRef<T>& operand;
};

/// What the two forms of "MonoFlop" share. TBase is their base for one operand or two.
template <class TBase, class TTrigger, class TTime>
class CPulse : public TBase {
public:
    using TBase::TBase;

    void Reset() override {
        trigger = {};
        running = false;
        startTime = 0;
    }

protected:
    template <class TClock>
    bool Pulse(const ValueRef<TTrigger>& triggerRef, TClock clock) noexcept {
        if (running && clock.Since(startTime) > duration) {
            this->resultRef.Write(0);
            running = false;
        }
        if (trigger.IsEdge(triggerRef.Read()) && (!running || retrigger)) {
            this->resultRef.Write(1);
            running = true;
            startTime = clock.Now();
        }
        return true;
    }

    ChangeRecogniser<TTrigger> trigger;
    bool running = false;
    bool retrigger = false;
    TTime startTime = 0;
    TTime duration = 0;
};

/// "MonoFlop" with one operand: 1 from an edge of the operand until more than the duration has passed. The result is
/// written only when a pulse begins or ends. A pulse that is over ends before the trigger is looked at, so an edge in
/// the same sample begins the next one.
///
/// Parameters: the duration in seconds, a true Float32 in the low 32 bits of a floating argument, kept in whole
/// milliseconds, 0 by default; whether an edge during a pulse restarts it, in the low 16 bits of an integer, 0 by
/// default. Refused without any; the second is read if there are exactly two. Reset: the trigger counts as 0 and low,
/// and no pulse runs. The parameters stay, and so does the result, even at 1.
template <class TResult, class TTrigger>
class CMonoFlop : public CPulse<CUnaryOperation<TResult, TTrigger>, TTrigger, UInt32> {
public:
    using CPulse<CUnaryOperation<TResult, TTrigger>, TTrigger, UInt32>::CPulse;

    bool Execute() override { return this->Pulse(this->operandRef, TickTime{}); }

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() == 0)
            return false;
        const auto seconds = static_cast<Float64>(parameters.NextPackedFloat32());
        this->duration = static_cast<UInt32>(TruncateToSInt64(seconds * 1000.0)); // a duration that is too long wraps
        if (parameters.Count() == 2)
            this->retrigger = parameters.NextSample<UInt16>() > 0;
        return true;
    }
};
template <class TResult, class TTrigger>
using CMonoFlopNV = CNoValueAware<CMonoFlop<TResult, TTrigger>>;

/// "MonoFlop" with two operands: like the one with one operand, in the time of operand 2. The plain class reads operand
/// 2 only when a pulse begins and while it runs.
///
/// Parameters: the duration in the unit of operand 2, a double, 0 by default; whether an edge during a pulse restarts
/// it, in the low 32 bits of an integer, 0 by default. Refused without any; the second is read if there are exactly
/// two. Reset: as with one operand.
template <class TResult, class TTrigger, class TTime>
class CMonoFlop2 : public CPulse<CBinaryOperation<TResult, TTrigger, TTime>, TTrigger, TTime> {
public:
    using CPulse<CBinaryOperation<TResult, TTrigger, TTime>, TTrigger, TTime>::CPulse;

    bool Execute() override { return this->Pulse(this->operand1Ref, ChannelTime<TTime>{this->operand2Ref}); }

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() == 0)
            return false;
        this->duration = parameters.NextSample<TTime>();
        if (parameters.Count() == 2)
            this->retrigger = parameters.NextUInt32() > 0;
        return true;
    }
};
template <class TResult, class TTrigger, class TTime>
using CMonoFlop2NV = CNoValueAware<CMonoFlop2<TResult, TTrigger, TTime>>;

/// What the two forms of "Timeout" share.
template <class TBase, class TValue, class TTime>
class CUnchanged : public TBase {
public:
    using TBase::TBase;

    void Reset() override { first = true; }

protected:
    /// Calls `isTimeUp` only if the value has not changed.
    template <class TClock, class TIsTimeUp>
    bool Watch(TClock clock, TIsTimeUp isTimeUp) noexcept {
        const TValue value = this->operand1Ref.Read();
        if (first || oldValue != value) {
            first = false;
            timedOut = false;
            changeTime = clock.Now();
            oldValue = value;
        } else if (!timedOut) {
            timedOut = isTimeUp(clock.Since(changeTime));
        }
        this->resultRef.Write(timedOut);
        return true;
    }

private:
    TValue oldValue = 0;
    TTime changeTime = 0;
    bool first = true;
    bool timedOut = false;
};

/// "Timeout" with two operands: 1 once operand 1 has not changed for the seconds in operand 2, until it changes.
/// Compares whole seconds, cut to the operands' type: in narrow types they wrap, and in SInt8 and SInt16 they can
/// become negative. The first sample only starts the timing. SInt16 has no twin: both forms are the plain class. No
/// parameters. Reset: the next sample is a first one.
template <class TResult, class TValue, class TTimeout>
class CTimeout : public CUnchanged<CBinaryOperation<TResult, TValue, TTimeout>, TValue, UInt32> {
public:
    using CUnchanged<CBinaryOperation<TResult, TValue, TTimeout>, TValue, UInt32>::CUnchanged;

    bool Execute() override {
        return this->Watch(TickTime{}, [this](UInt32 milliseconds) {
            const UInt32 seconds = milliseconds / 1000;
            return static_cast<TTimeout>(seconds) >= this->operand2Ref.Read();
        });
    }
};
template <class TResult, class TValue, class TTimeout>
using CTimeoutNV = CNoValueAware<CTimeout<TResult, TValue, TTimeout>>;

/// "Timeout" with three operands: 1 once operand 1 has not changed for the duration in operand 2, in the time of
/// operand 3 and its unit, until it changes. Reads operands 2 and 3 only when it needs them. The first sample only
/// starts the timing. No parameters. Reset: the next sample is a first one.
template <class TResult, class TValue, class TTimeout, class TTime>
class CTimeout2 : public CUnchanged<CTernaryOperation<TResult, TValue, TTimeout, TTime>, TValue, TTime> {
public:
    using CUnchanged<CTernaryOperation<TResult, TValue, TTimeout, TTime>, TValue, TTime>::CUnchanged;

    bool Execute() override {
        return this->Watch(ChannelTime<TTime>{this->operand3Ref},
                           [this](TTime elapsed) { return elapsed >= this->operand2Ref.Read(); });
    }
};
template <class TResult, class TValue, class TTimeout, class TTime>
using CTimeout2NV = CNoValueAware<CTimeout2<TResult, TValue, TTimeout, TTime>>;

/// The rows of this topic.
std::span<const Family> TimerFamilies() noexcept;

} // namespace Velmarosk::Operation
