/// How long something took and how often it happened. The classes without a 2 count samples and multiply by a sample
/// period; those with a 2 subtract values of a time channel, their last operand. None reads the machine's clock. They
/// calculate in the result's type T, so a Float32 counter stops at 16777216. Execute returns true. While an operand is
/// NoValue, the twins write NoValue, return false and keep their state.
#pragma once

#include "core/Arithmetic.h"
#include "core/OperationRows.h"
#include "logic/ChangeRecogniser.h"

namespace Velmarosk::Operation {

/// "TimeDiff" with two operands: the time from an edge of operand 1, the start, to one of operand 2, the stop; in the
/// unit of the sample period. A start and a stop in one sample give 0. The first sample sets the result to NoValue, in
/// the plain class too; after that it is written at a stop only.
///
/// Parameters: exactly one, the sample period, a double, 0 by default; otherwise refused. Reset: as after Create, so
/// the next sample writes NoValue again; the sample period stays.
template <class TResult, class TStart, class TStop>
class CTimeDiff : public CBinaryOperation<TResult, TStart, TStop> {
public:
    using CBinaryOperation<TResult, TStart, TStop>::CBinaryOperation;

    bool Execute() override {
        if (firstSample) {
            this->resultRef.Write(this->resultNoValue);
            firstSample = false;
        }
        if (running)
            sampleCount += 1;
        if (start.IsEdge(this->operand1Ref.Read()))
            running = true; // if it already was, the count goes on
        if (stop.IsEdge(this->operand2Ref.Read()))
            Stop();
        return true;
    }

    bool Initialize(Parameters& parameters) override { return parameters.TakeOnly(samplePeriod); }

    void Reset() override {
        sampleCount = 0;
        start = {};
        stop = {};
        running = false;
        firstSample = true;
    }

private:
    void Stop() noexcept {
        if (!running) {
            // A stop without a start does not count as an edge, unlike in CTimeDiff2.
            stop.WithdrawEdge();
            return;
        }
        this->resultRef.Write(MultiplyInOrder(samplePeriod, sampleCount));
        running = false;
        sampleCount = 0;
    }

    TResult sampleCount = 0;
    ChangeRecogniser<TStart> start;
    ChangeRecogniser<TStop> stop;
    TResult samplePeriod = 0;
    bool running = false;
    bool firstSample = true;
};
template <class TResult, class TStart, class TStop>
using CTimeDiffNV = CNoValueAware<CTimeDiff<TResult, TStart, TStop>>;

/// "TimeDiff" with three operands: the difference of operand 3, the time, between an edge of operand 1, the start, and
/// one of operand 2, the stop; the plain class reads the time at these edges only. The first sample sets the result to
/// NoValue, in the plain class too; after that it is written at a stop only. No parameters. Reset: as after Create, so
/// the next sample writes NoValue again.
template <class TResult, class TStart, class TStop, class TTime>
class CTimeDiff2 : public CTernaryOperation<TResult, TStart, TStop, TTime> {
public:
    using CTernaryOperation<TResult, TStart, TStop, TTime>::CTernaryOperation;

    bool Execute() override {
        if (firstSample) {
            this->resultRef.Write(this->resultNoValue);
            firstSample = false;
        }
        if (start.IsEdge(this->operand1Ref.Read()) && !running) {
            running = true;
            startTime = this->operand3Ref.Read();
        }
        if (stop.IsEdge(this->operand2Ref.Read()) && running) {
            this->resultRef.Write(SubtractInOrder(this->operand3Ref.Read(), startTime));
            running = false;
        }
        return true;
    }

    void Reset() override {
        start = {};
        stop = {};
        running = false;
        firstSample = true;
    }

private:
    ChangeRecogniser<TStart> start;
    ChangeRecogniser<TStop> stop;
    TTime startTime = 0;
    bool running = false;
    bool firstSample = true;
};
template <class TResult, class TStart, class TStop, class TTime>
using CTimeDiff2NV = CNoValueAware<CTimeDiff2<TResult, TStart, TStop, TTime>>;

/// "Time" with one operand: how long the operand has been true, in the unit of the sample period, and 0 while it is
/// false. The first sample already gives one period.
///
/// Parameters: exactly one, the sample period, a double, 0 by default; otherwise refused.
/// Reset: the time is 0; the sample period stays.
template <class TResult, class TCondition>
class CCondTime : public CUnaryOperation<TResult, TCondition> {
public:
    using CUnaryOperation<TResult, TCondition>::CUnaryOperation;

    bool Execute() override {
        sampleCount = this->operandRef.Read() != 0 ? sampleCount + 1 : 0;
        this->resultRef.Write(MultiplyInOrder(FloatFromUInt64<TResult>(sampleCount), samplePeriod));
        return true;
    }

    bool Initialize(Parameters& parameters) override { return parameters.TakeOnly(samplePeriod); }

    void Reset() override { sampleCount = 0; }

private:
    TResult samplePeriod = 0;
    UInt64 sampleCount = 0;
};
template <class TResult, class TCondition>
using CCondTimeNV = CNoValueAware<CCondTime<TResult, TCondition>>;

/// "Time" with two operands: how long operand 1 has been true, in the time of operand 2. Shows 0 in the sample in which
/// it becomes true, and still the time in the sample in which it becomes false. The plain class reads operand 2 only
/// when the time begins and while it runs. No parameters. Reset: no time runs.
template <class TResult, class TCondition, class TTime>
class CCondTime2 : public CBinaryOperation<TResult, TCondition, TTime> {
public:
    using CBinaryOperation<TResult, TCondition, TTime>::CBinaryOperation;

    bool Execute() override {
        const bool condition = this->operand1Ref.Read() != 0;
        TResult elapsed = 0;
        if (running)
            elapsed = SubtractInOrder(this->operand2Ref.Read(), startTime);
        else if (condition)
            startTime = this->operand2Ref.Read();
        running = condition;
        this->resultRef.Write(elapsed);
        return true;
    }

    void Reset() override {
        startTime = 0;
        running = false;
    }

private:
    TTime startTime = 0;
    bool running = false;
};
template <class TResult, class TCondition, class TTime>
using CCondTime2NV = CNoValueAware<CCondTime2<TResult, TCondition, TTime>>;

/// "Count": the number of edges of operand 1, written on every sample. An edge of operand 2 sets it to 0, even in the
/// sample of a count. No parameters. Reset: the count is 0, and both operands count as 0 and low.
template <class TResult, class TCount, class TReset>
class CCount : public CBinaryOperation<TResult, TCount, TReset> {
public:
    using CBinaryOperation<TResult, TCount, TReset>::CBinaryOperation;

    bool Execute() override {
        if (counted.IsEdge(this->operand1Ref.Read()))
            count += 1;
        if (resetting.IsEdge(this->operand2Ref.Read()))
            count = 0;
        this->resultRef.Write(count);
        return true;
    }

    void Reset() override {
        count = 0;
        counted = {};
        resetting = {};
    }

private:
    TResult count = 0;
    ChangeRecogniser<TCount> counted;
    ChangeRecogniser<TReset> resetting;
};
template <class TResult, class TCount, class TReset>
using CCountNV = CNoValueAware<CCount<TResult, TCount, TReset>>;

/// The rows of this topic.
std::span<const Family> TimeMeasurementFamilies() noexcept;

} // namespace Velmarosk::Operation
