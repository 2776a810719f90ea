/// Flip-flops. Both act on an edge of their clock, operand 1, as the change recogniser sees it; a clock that is high on
/// the first sample is an edge. They write the result at an edge only; in between nothing touches it. Execute returns
/// true. While an operand is NoValue, the twins write NoValue, return false and keep their state. No parameters.
#pragma once

#include "core/OperationRows.h"
#include "logic/ChangeRecogniser.h"

namespace Velmarosk::Operation {

/// "DFF": copies operand 2, the data, to the result at an edge of operand 1, and reads it at no other time. Reset: the
/// clock counts as 0 and low; the result stays.
template <class TResult, class TClock, class TData>
class CDFF : public CBinaryOperation<TResult, TClock, TData> {
public:
    using CBinaryOperation<TResult, TClock, TData>::CBinaryOperation;

    bool Execute() override {
        if (clock.IsEdge(this->operand1Ref.Read()))
            this->resultRef.Write(this->operand2Ref.Read());
        return true;
    }

    void Reset() override { clock = {}; }

private:
    ChangeRecogniser<TClock> clock;
};
template <class TResult, class TClock, class TData>
using CDFFNV = CNoValueAware<CDFF<TResult, TClock, TData>>;

/// "TFF": the result changes between 0 and 1 at each edge of the operand. Reset: the clock counts as 0 and low, and the
/// next edge writes 1, whatever the result shows.
template <class TResult, class TClock>
class CTFF : public CUnaryOperation<TResult, TClock> {
public:
    using CUnaryOperation<TResult, TClock>::CUnaryOperation;

    bool Execute() override {
        if (clock.IsEdge(this->operandRef.Read())) {
            toggleState = !toggleState;
            this->resultRef.Write(toggleState);
        }
        return true;
    }

    void Reset() override {
        toggleState = 0;
        clock = {};
    }

private:
    Boolean toggleState = 0;
    ChangeRecogniser<TClock> clock;
};
template <class TResult, class TClock>
using CTFFNV = CNoValueAware<CTFF<TResult, TClock>>;

/// The rows of this topic.
std::span<const Family> FlipFlopFamilies() noexcept;

} // namespace Velmarosk::Operation
