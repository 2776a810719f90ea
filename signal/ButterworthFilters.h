/// Butterworth filters as one recursion over the last inputs and outputs, in Float64 even for Float32 channels.
#pragma once

#include "core/Arithmetic.h"
#include "core/OperationRows.h"
#include "signal/ButterworthDesign.h"

#include <cstddef>
#include <optional>
#include <utility>

namespace Velmarosk::Operation {

/// The recursion. Without coefficients it writes 0.
template <class TResult, class TOperand>
class CAbstractIirFilter : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    /// Starts cold with the same coefficients.
    void Reset() override {
        x.fill(0.0);
        y.fill(0.0);
    }

protected:
    /// Puts the operand's sample into the memory and writes the next output. Always true. All kinds share it.
    [[gnu::noinline]] bool Filter() noexcept {
        const auto n = static_cast<std::size_t>(coefficientCount);
        // Each history moves up by one while it is summed. The newest output counts as 0 until the sum is complete. Its
        // term stays in the sum, since an a[0] that is a NaN or infinite shows there.
        auto input = ConvertSample<Float64>(this->operandRef.Read());
        Float64 output = 0.0;
        if (n == 0)
            x[0] = input;
        Float64 sum = 0.0;
        for (std::size_t i = 0; i < n; ++i) {
            const Float64 olderInput = x[i];
            const Float64 olderOutput = y[i];
            x[i] = input;
            y[i] = output;
            sum = AddInOrder(sum, SubtractInOrder(MultiplyInOrder(input, b[i]), MultiplyInOrder(output, a[i])));
            input = olderInput;
            output = olderOutput;
        }
        y[0] = sum;
        this->resultRef.Write(ConvertSample<TResult>(sum));
        return true;
    }

    SInt32 coefficientCount = 0;
    FilterCoefficients b{};
    FilterCoefficients a{};
    FilterCoefficients x{}; ///< inputs, the newest first
    FilterCoefficients y{}; ///< outputs, the newest first
};

/// What the kinds have in common. Parameters: order (the low eight bits of an integer, above 8 taken as 8), sample
/// rate, first corner, and optionally second corner, doubles in one unit. Negative corners are made positive, corners
/// in the wrong order are swapped, and a second corner that is not given keeps its value. Initialize returns false for
/// any other number of parameters and changes nothing then; it also returns false for refused corners and for order 0.
/// It keeps the memory of the signal. Execute returns true. Reset clears the memory.
template <class TResult, class TOperand>
class CFilterButterworthCommon : public CAbstractIirFilter<TResult, TOperand> {
public:
    using CAbstractIirFilter<TResult, TOperand>::CAbstractIirFilter;

    /// The filter skips samples without value. The check is named in full so that it needs no virtual call; the plain
    /// kinds leave it out.
    bool Execute() override { return CUnaryOperation<TResult, TOperand>::CheckNoValue() && this->Filter(); }

    bool Initialize(Parameters& values) override {
        if (values.Count() < 3 || values.Count() > 4)
            return false;
        parameters.order = static_cast<UInt8>(values.NextUInt32());
        parameters.sampleRate = values.NextFloat64();
        parameters.corner1 = values.NextFloat64();
        if (values.Count() == 4)
            parameters.corner2 = values.NextFloat64();
        if (parameters.corner1 < 0.0)
            parameters.corner1 = -parameters.corner1;
        if (parameters.corner2 < 0.0)
            parameters.corner2 = -parameters.corner2;
        if (parameters.corner2 > 0.0 && parameters.corner1 > parameters.corner2)
            std::swap(parameters.corner1, parameters.corner2);
        return true;
    }

protected:
    /// Refused corners leave a filter without coefficients.
    bool Take(const std::optional<ButterworthDesign>& design) noexcept {
        this->coefficientCount = 0;
        if (!design)
            return false;
        this->coefficientCount = design->coefficientCount;
        this->b = design->b;
        this->a = design->a;
        return parameters.order > 0;
    }

    ButterworthParameters parameters;
};

/// A kind of filter, NoValue-aware: its design.
template <auto design, class TResult, class TOperand>
class CFilterButterworthKindNV : public CFilterButterworthCommon<TResult, TOperand> {
public:
    using CFilterButterworthCommon<TResult, TOperand>::CFilterButterworthCommon;

    bool Initialize(Parameters& values) override {
        return CFilterButterworthCommon<TResult, TOperand>::Initialize(values) && this->Take(design(this->parameters));
    }
};

/// The plain form of a kind. Here the plain form derives from its twin: it treats every sample as a value.
template <class TNoValueAware>
class CFilterButterworthPlain final : public TNoValueAware {
public:
    using TNoValueAware::TNoValueAware;
    bool Execute() override { return this->Filter(); }
};

/// "FilterButterworthLowPass": passes what is below the first corner.
template <class TResult, class TOperand>
using CFilterButterworthLowPassNV = CFilterButterworthKindNV<&DesignLowPass, TResult, TOperand>;
template <class TResult, class TOperand>
using CFilterButterworthLowPass = CFilterButterworthPlain<CFilterButterworthLowPassNV<TResult, TOperand>>;

/// "FilterButterworthHighPass": passes what is above the first corner.
template <class TResult, class TOperand>
using CFilterButterworthHighPassNV = CFilterButterworthKindNV<&DesignHighPass, TResult, TOperand>;
template <class TResult, class TOperand>
using CFilterButterworthHighPass = CFilterButterworthPlain<CFilterButterworthHighPassNV<TResult, TOperand>>;

/// "FilterButterworthBandPass": passes what is between the corners.
template <class TResult, class TOperand>
using CFilterButterworthBandPassNV = CFilterButterworthKindNV<&DesignBandPass, TResult, TOperand>;
template <class TResult, class TOperand>
using CFilterButterworthBandPass = CFilterButterworthPlain<CFilterButterworthBandPassNV<TResult, TOperand>>;

/// "FilterButterworthBandStop": stops a band as wide as that between the corners, see StopBand.
template <class TResult, class TOperand>
using CFilterButterworthBandStopNV = CFilterButterworthKindNV<&DesignBandStop, TResult, TOperand>;
template <class TResult, class TOperand>
using CFilterButterworthBandStop = CFilterButterworthPlain<CFilterButterworthBandStopNV<TResult, TOperand>>;

/// The rows of this topic.
std::span<const Family> ButterworthFiltersFamilies() noexcept;

} // namespace Velmarosk::Operation
