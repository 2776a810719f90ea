/// The bases of all operations: the calls that the exports make, and for each number of operands their references and
/// NoValue markers.
#pragma once

#include "core/Parameters.h"
#include "core/ValueRef.h"

namespace Velmarosk::Operation {

/// One computed channel. Only one thread may use it at a time. Operations that share no written channel may run in
/// parallel.
class COperation {
public:
    COperation() = default;
    COperation(const COperation&) = delete;
    COperation& operator=(const COperation&) = delete;

    /// False if an operand holds its NoValue. Each family says what it writes then.
    virtual bool CheckNoValue() = 0;
    virtual ~COperation() = 0;
    /// Computes one sample from the current ones. False if there is no new value.
    virtual bool Execute() = 0;
    /// Takes the parameters. False if they are refused.
    virtual bool Initialize(Parameters& parameters) = 0;
    virtual bool Terminate() { return true; }
    /// Returns to the state of a fresh start. Keeps parameters and markers, and writes no result.
    virtual void Reset() {}
};

inline COperation::~COperation() = default;

// These constructors stay out of line: hundreds of operations share a few dozen of them.

/// An operation without operands.
template <Sample TResult>
class CConstOperation : public COperation {
public:
    [[gnu::noinline]] explicit CConstOperation(const References& references) noexcept
        : resultRef(references.At<TResult>(0)), resultNoValue(resultRef.Read()) {}

    bool CheckNoValue() override { return true; } // GCOVR_EXCL_LINE: there is no twin to ask
    bool Initialize(Parameters& /*parameters*/) override { return true; }

protected:
    ValueRef<TResult> resultRef;
    TResult resultNoValue;
};

/// An operation with one operand.
template <Sample TResult, Sample TOperand>
class CUnaryOperation : public COperation {
public:
    [[gnu::noinline]] explicit CUnaryOperation(const References& references) noexcept
        : resultRef(references.At<TResult>(0)),
          operandRef(references.At<TOperand>(1)),
          resultNoValue(resultRef.Read()) {
        CaptureNoValue(operandRef, hasOperandNoValue, operandNoValue);
    }

    bool CheckNoValue() override {
        if (!IsOperandNoValue())
            return true;
        return WriteNoValue();
    }
    bool Initialize(Parameters& /*parameters*/) override { return true; }

protected:
    /// Gives the result its NoValue. Always false.
    bool WriteNoValue() const noexcept {
        resultRef.Write(resultNoValue);
        return false;
    }
    bool IsOperandNoValue() const noexcept { return HoldsNoValue(operandRef, hasOperandNoValue, operandNoValue); }

    ValueRef<TResult> resultRef;
    ValueRef<TOperand> operandRef;
    NoValueFlag hasOperandNoValue;
    TResult resultNoValue;
    TOperand operandNoValue = 0;
};

/// An operation with two operands.
template <Sample TResult, Sample TOperand1, Sample TOperand2>
class CBinaryOperation : public COperation {
public:
    [[gnu::noinline]] explicit CBinaryOperation(const References& references) noexcept
        : resultRef(references.At<TResult>(0)),
          operand1Ref(references.At<TOperand1>(1)),
          operand2Ref(references.At<TOperand2>(2)),
          resultNoValue(resultRef.Read()) {
        CaptureNoValue(operand1Ref, hasOperand1NoValue, operand1NoValue);
        CaptureNoValue(operand2Ref, hasOperand2NoValue, operand2NoValue);
    }

    bool CheckNoValue() override {
        if (!IsOperand1NoValue() && !IsOperand2NoValue())
            return true;
        return WriteNoValue();
    }
    bool Initialize(Parameters& /*parameters*/) override { return true; }

protected:
    /// Gives the result its NoValue. Always false.
    bool WriteNoValue() const noexcept {
        resultRef.Write(resultNoValue);
        return false;
    }
    bool IsOperand1NoValue() const noexcept { return HoldsNoValue(operand1Ref, hasOperand1NoValue, operand1NoValue); }
    bool IsOperand2NoValue() const noexcept { return HoldsNoValue(operand2Ref, hasOperand2NoValue, operand2NoValue); }

    ValueRef<TResult> resultRef;
    ValueRef<TOperand1> operand1Ref;
    ValueRef<TOperand2> operand2Ref;
    NoValueFlag hasOperand1NoValue;
    NoValueFlag hasOperand2NoValue;
    TResult resultNoValue;
    TOperand1 operand1NoValue = 0;
    TOperand2 operand2NoValue = 0;
};

/// An operation with three operands.
template <Sample TResult, Sample TOperand1, Sample TOperand2, Sample TOperand3>
class CTernaryOperation : public COperation {
public:
    [[gnu::noinline]] explicit CTernaryOperation(const References& references) noexcept
        : resultRef(references.At<TResult>(0)),
          operand1Ref(references.At<TOperand1>(1)),
          operand2Ref(references.At<TOperand2>(2)),
          operand3Ref(references.At<TOperand3>(3)),
          resultNoValue(resultRef.Read()) {
        CaptureNoValue(operand1Ref, hasOperand1NoValue, operand1NoValue);
        CaptureNoValue(operand2Ref, hasOperand2NoValue, operand2NoValue);
        CaptureNoValue(operand3Ref, hasOperand3NoValue, operand3NoValue);
    }

    bool CheckNoValue() override {
        if (!IsOperand1NoValue() && !IsOperand2NoValue() && !IsOperand3NoValue())
            return true;
        return WriteNoValue();
    }
    bool Initialize(Parameters& /*parameters*/) override { return true; }

protected:
    /// Gives the result its NoValue. Always false.
    bool WriteNoValue() const noexcept {
        resultRef.Write(resultNoValue);
        return false;
    }
    bool IsOperand1NoValue() const noexcept { return HoldsNoValue(operand1Ref, hasOperand1NoValue, operand1NoValue); }
    bool IsOperand2NoValue() const noexcept { return HoldsNoValue(operand2Ref, hasOperand2NoValue, operand2NoValue); }
    bool IsOperand3NoValue() const noexcept { return HoldsNoValue(operand3Ref, hasOperand3NoValue, operand3NoValue); }

    ValueRef<TResult> resultRef;
    ValueRef<TOperand1> operand1Ref;
    ValueRef<TOperand2> operand2Ref;
    ValueRef<TOperand3> operand3Ref;
    NoValueFlag hasOperand1NoValue;
    NoValueFlag hasOperand2NoValue;
    NoValueFlag hasOperand3NoValue;
    TResult resultNoValue;
    TOperand1 operand1NoValue = 0;
    TOperand2 operand2NoValue = 0;
    TOperand3 operand3NoValue = 0;
};

/// The NoValue-aware twin of a plain operation: refuses to compute while an operand holds its marker.
template <class TPlain>
class CNoValueAware final : public TPlain {
public:
    using TPlain::TPlain;
    bool Execute() override { return this->CheckNoValue() && TPlain::Execute(); }
};

} // namespace Velmarosk::Operation
