/// Smallest value, largest value and mean of one channel, of everything since the start or of the last samples. These
/// operations ignore samples outside a pair of bounds.
#pragma once

#include "core/OperationRows.h"
#include "signal/BoundsGate.h"
#include "signal/RunningMean.h"
#include "signal/SlidingExtreme.h"

namespace Velmarosk::Operation {

/// "Min" and "Max" with one operand. Parameters: lower and upper bound, both inclusive, of the channel's type, then
/// optionally the length of the window in samples, 32 bits (0 or none for no window). Execute returns true once there
/// has been a sample inside the bounds. Reset forgets all samples; bounds and window stay.
///
/// While a NaN is in the window, the result is the extreme of the other samples, or a NaN if there is no other.
template <class TOrder, class TResult, class TOperand>
class CExtreme : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Execute() override {
        const TOperand sample = this->operandRef.Read();
        if (!bounds.Admits(sample))
            return hasValue;
        if (windowLength == 0)
            return Follow(sample);
        if (!windowFull)
            return Fill(sample);
        window.Replace(sample);
        return WriteWindow(sample);
    }

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() < 2)
            return false;
        bounds.Read(parameters);
        windowLength = parameters.Count() < 3 ? 0 : parameters.NextUInt32();
        return true;
    }

    void Reset() override {
        extremeValue = TOrder::template start<TOperand>;
        window.Clear();
        windowFull = false;
        hasValue = false;
    }

protected:
    bool hasValue = false;
    /// Not updated while there is a window.
    TResult extremeValue = TOrder::template start<TOperand>;

private:
    bool Follow(TOperand sample) noexcept {
        if (TOrder::IsReached(sample, extremeValue)) {
            extremeValue = sample;
            hasValue = true;
        }
        if (hasValue)
            this->resultRef.Write(extremeValue);
        return hasValue;
    }

    // Filling is rare and stays out of line, to keep Execute short.

    /// A window is full when a sample makes it hold exactly `windowLength`. Once full, it keeps its number of samples
    /// until Reset, whatever length is set. If the length becomes shorter than what a window holds before it is full,
    /// the window grows until Reset. Without a window the samples held stay as they are.
    [[gnu::noinline]] bool Fill(TOperand sample) {
        window.Append(sample);
        hasValue = true;
        windowFull = window.Held() == windowLength;
        return WriteWindow(sample);
    }

    bool WriteWindow(TOperand sample) noexcept {
        this->resultRef.Write(window.HasExtreme() ? window.Extreme() : sample);
        return true;
    }

    bool windowFull = false;
    BoundsGate<TOperand> bounds;
    UInt32 windowLength = 0;
    SlidingExtreme<TOrder, TOperand> window;
};

/// Twin of CExtreme: a sample without value does not enter, and the extreme is written again. It writes the extreme of
/// the operation without a window. With a window that is still the highest ("Min") or lowest ("Max") value of the type,
/// or what was found before the window was set.
template <class TPlain>
class CExtremeNV final : public TPlain {
public:
    using TPlain::TPlain;

    /// Only answers, and writes no marker.
    bool CheckNoValue() override { return !this->IsOperandNoValue(); }

    bool Execute() override {
        if (CheckNoValue())
            return TPlain::Execute();
        if (this->hasValue)
            this->resultRef.Write(this->extremeValue);
        return this->hasValue;
    }
};

template <class TResult, class TOperand>
using CMin = CExtreme<Smallest, TResult, TOperand>;
template <class TResult, class TOperand>
using CMinNV = CExtremeNV<CMin<TResult, TOperand>>;
template <class TResult, class TOperand>
using CMax = CExtreme<Largest, TResult, TOperand>;
template <class TResult, class TOperand>
using CMaxNV = CExtremeNV<CMax<TResult, TOperand>>;

/// "Average": the mean. Parameters: length of the window in samples, 32 bits (0 for none); lower and upper bound, both
/// inclusive, of the channel's type; then optionally the number of samples without value in a row after which there is
/// no mean, 32 bits. Execute returns true if there is a mean; even a sample that does not count writes it again. Reset
/// forgets all samples; the parameters stay.
template <class T>
class CAverage : public CUnaryOperation<T, T> {
public:
    using CUnaryOperation<T, T>::CUnaryOperation;

    bool Execute() override {
        if (noValueLimit == 0)
            return Take(this->operandRef.Read());
        return ExecuteWithLimit();
    }

    /// Returns false for a limit of 0, although everything has been set.
    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() < 3)
            return false;
        mean.SetWindowLength(parameters.NextUInt32());
        bounds.Read(parameters);
        if (parameters.Count() != 4)
            return true;
        noValueLimit = parameters.NextUInt32();
        return noValueLimit != 0;
    }

    void Reset() override {
        noValueCount = 0;
        mean.Clear();
    }

protected:
    bool WriteMean() noexcept {
        if (!mean.HasValue())
            return false;
        this->resultRef.Write(mean.Value());
        return true;
    }

private:
    bool Take(T sample) {
        if (!bounds.Admits(sample))
            return WriteMean();
        if (!mean.IsSliding())
            return AddAndWrite(sample);
        mean.Slide(sample);
        this->resultRef.Write(mean.Value());
        return true;
    }

    // Code that a full window does not need stays out of line, so that Execute needs no stack.

    [[gnu::noinline]] bool AddAndWrite(T sample) {
        mean.Add(sample);
        this->resultRef.Write(mean.Value());
        return true;
    }

    /// A run of samples without value that is shorter than the limit does not show: CheckNoValue has written the
    /// marker, and the mean overwrites it.
    [[gnu::noinline]] bool ExecuteWithLimit() {
        if (this->CheckNoValue()) {
            noValueCount = 0;
            return Take(this->operandRef.Read());
        }
        ++noValueCount;
        return noValueCount < noValueLimit && WriteMean();
    }

    UInt32 noValueLimit = 0;
    UInt32 noValueCount = 0;
    BoundsGate<T> bounds;
    RunningMean<T> mean;
};

/// Twin of CAverage: shows the last mean for any number of samples without value, whatever the limit.
template <class T>
class CAverageNV final : public CAverage<T> {
public:
    using CAverage<T>::CAverage;

    /// Only answers, and writes no marker.
    bool CheckNoValue() override { return !this->IsOperandNoValue(); }

    bool Execute() override { return CheckNoValue() ? CAverage<T>::Execute() : this->WriteMean(); }
};

/// The rows of this topic.
std::span<const Family> SlidingWindowsFamilies() noexcept;

} // namespace Velmarosk::Operation
