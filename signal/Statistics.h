/// Smallest value, largest value and mean of one channel at the same time, in three result channels.
#pragma once

#include "core/OperationRows.h"
#include "signal/BoundsGate.h"
#include "signal/RunningMean.h"

#include <limits>

namespace Velmarosk::Operation {

/// "Statistics": results smallest, largest and mean, then the operand. Parameters: length of the mean's window in
/// samples, 32 bits (0 for the mean of everything); lower and upper bound, both inclusive, of the channel's type. The
/// smallest and the largest are always those since the start. Execute returns true once all three have a value. Only
/// results that have one are written; none ever gets a marker. Reset forgets all samples; the parameters stay.
template <class TResult, class TOperand>
class CStatistics : public COperation {
public:
    [[gnu::noinline]] explicit CStatistics(const References& references) noexcept
        : minResult(references.At<TResult>(0)),
          maxResult(references.At<TResult>(1)),
          meanResult(references.At<TResult>(2)),
          operand(references.At<TOperand>(3)) {
        CaptureNoValue(operand, hasOperandNoValue, operandNoValue);
    }

    /// Only answers, and writes no marker.
    bool CheckNoValue() override { return !HoldsNoValue(operand, hasOperandNoValue, operandNoValue); }

    bool Execute() override {
        const TOperand sample = operand.Read();
        if (bounds.Admits(sample)) {
            mean.Add(sample); // first, since it may run out of memory
            Take(sample);
            WriteExtremes();
        }
        // Outside the bounds the mean is written again, without the other two.
        WriteMean();
        return HasAll();
    }

    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() != 3)
            return false;
        mean.SetWindowLength(parameters.NextUInt32());
        bounds.Read(parameters);
        return true;
    }

    void Reset() override {
        hasMin = false;
        hasMax = false;
        minValue = std::numeric_limits<TResult>::max();
        maxValue = std::numeric_limits<TResult>::lowest();
        mean.Clear();
    }

protected:
    bool HasAll() const noexcept { return hasMin && hasMax && mean.HasValue(); }

    void WriteExtremes() noexcept {
        if (hasMin)
            minResult.Write(minValue);
        if (hasMax)
            maxResult.Write(maxValue);
    }

    void WriteMean() noexcept {
        if (mean.HasValue())
            meanResult.Write(mean.Value());
    }

private:
    void Take(TOperand sample) noexcept {
        if (sample <= minValue) {
            minValue = sample;
            hasMin = true;
        }
        if (sample >= maxValue) {
            maxValue = sample;
            hasMax = true;
        }
    }

    bool hasMin = false;
    bool hasMax = false;
    TResult minValue = std::numeric_limits<TResult>::max();
    TResult maxValue = std::numeric_limits<TResult>::lowest();
    BoundsGate<TResult> bounds;
    RunningMean<TResult> mean;
    ValueRef<TResult> minResult;
    ValueRef<TResult> maxResult;
    ValueRef<TResult> meanResult;
    ValueRef<TOperand> operand;
    NoValueFlag hasOperandNoValue;
    TOperand operandNoValue = 0;
};

/// Twin of CStatistics: a sample without value changes nothing, and writes again those of the three that have a value.
template <class TResult, class TOperand>
class CStatisticsNV final : public CStatistics<TResult, TOperand> {
public:
    using CStatistics<TResult, TOperand>::CStatistics;

    bool Execute() override {
        if (this->CheckNoValue())
            return CStatistics<TResult, TOperand>::Execute();
        this->WriteExtremes();
        this->WriteMean();
        return this->HasAll();
    }
};

/// The rows of this topic.
std::span<const Family> StatisticsFamilies() noexcept;

} // namespace Velmarosk::Operation
