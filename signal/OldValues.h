/// Delays: what a channel held one sample ago, or any number of samples ago.
#pragma once

#include "core/OperationRows.h"
#include "signal/BlockRing.h"

namespace Velmarosk::Operation {

/// "GetOldValue": the previous sample. Parameter: the first output, of the channel's type; without one the first output
/// is what the result channel holds then. Execute always returns true. After Reset, the next sample is a first one
/// again.
template <class TResult, class TOperand>
class CGetOldValue : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Execute() override {
        if (!firstRun) {
            this->resultRef.Write(oldValue);
            oldValue = this->operandRef.Read();
            return true;
        }
        if (initialFromResult)
            initialValue = this->resultRef.Read();
        firstRun = false;
        oldValue = this->operandRef.Read();
        this->resultRef.Write(initialValue);
        return true;
    }

    /// Once asked for, the first output from the result channel stays, even if a value is given later.
    bool Initialize(Parameters& parameters) override {
        if (parameters.Count() == 0)
            initialFromResult = true;
        else
            initialValue = parameters.NextSample<TResult>();
        return true;
    }

    void Reset() override { firstRun = true; }

private:
    bool firstRun = true;
    bool initialFromResult = false;
    TResult oldValue = 0;
    TResult initialValue = 0;
};
template <class TResult, class TOperand>
using CGetOldValueNV = CNoValueAware<CGetOldValue<TResult, TOperand>>;

/// "GetOldValueN": the sample of a number of samples ago, and a stated value until there is one. Parameters: the delay
/// in samples, 32 bits (1 if none is given), then optionally the stated value (0 if none is given). A delay of 0 passes
/// the operand through if it is given alone, and counts as 1 if a stated value follows it. Execute always returns true.
/// Reset empties the delay.
template <class TResult, class TOperand>
class CGetOldValueN : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Execute() override {
        if (!isFull)
            return Fill();
        this->resultRef.Write(line.Oldest());
        line.Replace(this->operandRef.Read());
        return true;
    }

    bool Initialize(Parameters& parameters) override {
        depth = parameters.Count() == 0 ? 1 : parameters.NextUInt32();
        initialValue = 0;
        if (parameters.Count() >= 2) {
            initialValue = parameters.NextSample<TResult>();
            if (depth == 0)
                depth = 1;
        }
        isFull = filled == depth && filled != 0;
        return true;
    }

    void Reset() override {
        filled = 0;
        isFull = false;
        line.Clear();
    }

private:
    /// The line fills until it holds exactly `depth` samples. If the delay becomes shorter than what the line holds,
    /// the line goes on filling and the stated value goes out, until Reset. Out of line, so that Execute needs no
    /// stack.
    [[gnu::noinline]] bool Fill() {
        if (depth == 0 && filled == 0) {
            this->resultRef.Write(this->operandRef.Read());
            return true;
        }
        line.Append(this->operandRef.Read());
        ++filled;
        isFull = filled == depth;
        this->resultRef.Write(initialValue);
        return true;
    }

    UInt32 filled = 0;
    UInt32 depth = 1;
    bool isFull = false; ///< filled == depth and not 0; kept, so that Execute tests one flag
    TResult initialValue = 0;
    BlockRing<TResult> line;
};
template <class TResult, class TOperand>
using CGetOldValueNNV = CNoValueAware<CGetOldValueN<TResult, TOperand>>;

/// The rows of this topic.
std::span<const Family> OldValuesFamilies() noexcept;

} // namespace Velmarosk::Operation
