/// Characteristic curves: map a value through a list of points, with straight lines between them and the level of the
/// outer points beyond them. Lines are evaluated in their intercept form, so at a point the result may miss its y by a
/// rounding.
#pragma once

#include "core/Arithmetic.h"
#include "core/Operation.h"
#include "core/OperationRows.h"

#include <bit>
#include <cstddef>
#include <limits>
#include <vector>

namespace Velmarosk::Operation {

/// A point of a curve: an input and the output there.
template <FloatSample T>
struct LineaPoint {
    T x;
    T y;
};

/// "Linea": the curve's value at the operand. Below the first x this is the first y; on or above the last x, and for a
/// NaN, it is the last y. If an x is repeated, the curve has a step, and the later y counts.
///
/// Parameters: the points in ascending order of x, for each its x (in the units of the operand) and its y (in the units
/// of the result), as two floating values. The letters do not matter. Refused if there is no point, or an x without a
/// y. Nobody checks or sorts the order: the line is always the one to the first point whose x is above the operand.
/// Execute returns true; without a curve it returns false and leaves the result as it is. Reset changes nothing.
/// Terminate removes the curve.
template <class T>
class CLinea : public COperation {
public:
    [[gnu::noinline]] explicit CLinea(const References& references) noexcept
        : resultRef(references.At<T>(0)), operandRef(references.At<T>(1)), resultNoValue(resultRef.Read()) {
        CaptureNoValue(operandRef, hasOperandNoValue, operandNoValue);
    }

    bool CheckNoValue() override {
        if (!HoldsNoValue(operandRef, hasOperandNoValue, operandNoValue))
            return true;
        resultRef.Write(resultNoValue);
        return false;
    }
    bool Execute() override { return LookUp(); }
    bool Initialize(Parameters& parameters) override;
    /// Keeps the memory for the next curve.
    bool Terminate() override {
        Clear();
        return true;
    }

protected:
    bool LookUp() noexcept {
        const T v = operandRef.Read();
        if (!last->Spans(v)) [[unlikely]]
            return LookUpElsewhere(v);
        resultRef.Write(last->ValueAt(v));
        return true;
    }

    std::vector<LineaPoint<T>> points;
    ValueRef<T> resultRef;
    ValueRef<T> operandRef;
    NoValueFlag hasOperandNoValue;
    T operandNoValue = 0;
    T resultNoValue;

private:
    /// A straight line, and the range of its operands.
    struct Line {
        bool Spans(T v) const noexcept { return v >= from && v < to; }
        T ValueAt(T v) const noexcept { return AddInOrder(intercept, MultiplyInOrder(v, slope)); }

        T from;
        T to;
        T slope;
        T intercept;
    };
    /// A line with an empty range.
    static constexpr Line noLine{.from = std::numeric_limits<T>::quiet_NaN(), .to = 0, .slope = 0, .intercept = 0};

    void Clear() noexcept {
        points.clear();
        lines.clear();
        bounds.clear();
        firstStep = 0;
        begin = end = 0;
        last = &noLine;
    }
    void PrepareLookUp() noexcept;
    [[gnu::noinline]] bool LookUpElsewhere(T v) noexcept;

    // Half of a search's comparisons are true, so branches would be mispredicted half of the time. In a loop, clang
    // turns a conditional move into a branch, and tests the step before it is halved. The asm prevents both.

    /// `next` if v has reached its bound, otherwise `reached`.
    static std::size_t Furthest(T v, const T& bound, std::size_t next, std::size_t reached) noexcept {
#if defined(__clang__) && defined(__x86_64__)
        if constexpr (std::same_as<T, Float32>)
            asm("ucomiss %2, %1\n\tcmovae %3, %0" : "+r"(reached) : "x"(v), "m"(bound), "r"(next) : "cc");
        else
            asm("ucomisd %2, %1\n\tcmovae %3, %0" : "+r"(reached) : "x"(v), "m"(bound), "r"(next) : "cc");
        return reached;
#else
        return v >= bound ? next : reached;
#endif
    }
    static std::size_t Half(std::size_t step) noexcept {
        step /= 2;
#if defined(__clang__)
        asm("" : "+r"(step));
#endif
        return step;
    }

    /// The index of the line whose range has an operand, by halving search: every look-up takes the same number of
    /// comparisons. One of the ranges must have it.
    std::size_t IndexFor(T v) const noexcept {
        std::size_t reached = 0;
        for (std::size_t step = firstStep; step != 0; step = Half(step))
            reached = Furthest(v, bounds[reached + step], reached + step, reached);
        return reached;
    }

    /// The lines that a look-up can find, in ascending order, and where the first begins and the last ends.
    std::vector<Line> lines;
    T begin = 0;
    T end = 0;
    /// Where each line begins, contiguous for the search, then infinities up to a power of two.
    std::vector<T> bounds;
    std::size_t firstStep = 0;
    /// The line that the next operand is compared with first, and the index of the one that the search found last.
    const Line* last = &noLine;
    std::size_t lastFound = 0;
    /// A bit for each of the last searches, the newest lowest: whether it found a line close to that of the search
    /// before.
    UInt8 nearness = 0;
};

template <class T>
bool CLinea<T>::Initialize(Parameters& parameters) {
    Clear();
    if (parameters.Count() == 0 || parameters.Count() % 2 != 0)
        return false;
    // All memory first: if there is not enough, the curve stays empty.
    const std::size_t count = parameters.Count() / 2;
    points.reserve(count);
    bounds.reserve(std::bit_ceil(count));
    lines.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        points.push_back({.x = parameters.NextSample<T>(), .y = parameters.NextSample<T>()});
    PrepareLookUp();
    return true;
}

/// The first point above an operand is always above all points before it. So only the lines to such points are kept,
/// each for operands from the highest x before it. A NaN is above nothing.
template <class T>
void CLinea<T>::PrepareLookUp() noexcept {
    constexpr T infinity = std::numeric_limits<T>::infinity();
    begin = IsNaN(points.front().x) ? -infinity : points.front().x;
    end = begin;
    for (std::size_t i = 1; i < points.size(); ++i) {
        const LineaPoint<T>& from = points[i - 1];
        const LineaPoint<T>& to = points[i];
        if (!(to.x > end))
            continue;
        const T slope = DivideInOrder(SubtractInOrder(to.y, from.y), SubtractInOrder(to.x, from.x));
        const T intercept = SubtractInOrder(to.y, MultiplyInOrder(to.x, slope));
        lines.push_back({.from = end, .to = to.x, .slope = slope, .intercept = intercept});
        bounds.push_back(end);
        end = to.x;
    }
    bounds.resize(std::bit_ceil(bounds.size()), infinity);
    firstStep = bounds.size() / 2;
}

/// While searches end close to one another, the line found is tried first for the next operands, so a slow sweep mostly
/// needs no search. Otherwise that line has an empty range: the comparison is always false, so it is predictable.
template <class T>
bool CLinea<T>::LookUpElsewhere(T v) noexcept {
    if (v >= begin && v < end) [[likely]] {
        const std::size_t found = IndexFor(v);
        const Line& line = lines[found];
        resultRef.Write(line.ValueAt(v));
        const bool isNear = found - lastFound + 1 <= 2;
        nearness = static_cast<UInt8>(2 * nearness + isNear);
        lastFound = found;
        last = nearness == std::numeric_limits<UInt8>::max() ? &line : &noLine;
        return true;
    }
    if (points.empty())
        return false;
    resultRef.Write(v < begin ? points.front().y : points.back().y); // the latter for a NaN too
    return true;
}

template <class T>
using CLineaNV = CNoValueAware<CLinea<T>>;

/// "VLinea" that is not NoValue-aware: does nothing. Execute returns false and leaves the result as it is.
template <class T>
class CVLinea final : public CLinea<T> {
public:
    using CLinea<T>::CLinea;
    bool Execute() override { return false; }
};

/// "VLinea" that is NoValue-aware: like "Linea", but NoValue counts as 0. It writes the 0 into the operand's own
/// channel. The comparison is a plain ==, so no NaN passes it, and an operand without a marker is compared with 0.
template <class T>
class CVLineaNV final : public CLinea<T> {
public:
    using CLinea<T>::CLinea;
    bool Execute() override {
        const bool isNoValueNaN = this->hasOperandNoValue.isNaN;
        if (!isNoValueNaN && this->operandRef.Read() == this->operandNoValue)
            this->operandRef.Write(0);
        return this->LookUp();
    }
};

/// The rows of this topic.
std::span<const Family> CurveFamilies() noexcept;

} // namespace Velmarosk::Operation
