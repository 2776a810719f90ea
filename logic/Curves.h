/// Characteristic curves: a value is mapped through a list of points, by straight lines between them and at the level
/// of the outer points beyond them. Lines are evaluated in their intercept form, which at a point may miss that point's
/// y by a rounding.
#pragma once

#include "core/Operation.h"
#include "core/OperationRows.h"

#include <algorithm>
#include <bit>
#include <vector>

namespace Velmarosk::Operation {

/// A point of a curve: an input and the output there.
template <FloatSample T>
struct LineaPoint {
    T x;
    T y;
};

/// "Linea": the curve's value at the operand. Below the first x this is the first y; on or above the last x, and for a
/// NaN, it is the last y. Where an x is repeated the curve has a step, and the later y counts.
///
/// Parameters: the points in ascending order of x, for each its x (in the units of the operand) and its y (in the units
/// of the result), as two floating values. The letters are free. Refused if there is none, or an x without a y.
/// The order is neither checked nor made: the line taken is always the one to the first point whose x is above the
/// operand. Execute returns true; without a curve it returns false and leaves the result as it is.
/// Reset changes nothing. Terminate takes the curve away.
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
    /// Keeps the storage for the next curve.
    bool Terminate() override {
        Clear();
        return true;
    }

protected:
    bool LookUp() noexcept {
        if (firstStep == 0 && points.empty()) // needed below anyhow, the first test spares most curves the second
            return false;
        resultRef.Write(ValueAt(operandRef.Read()));
        return true;
    }

    std::vector<LineaPoint<T>> points;
    ValueRef<T> resultRef;
    ValueRef<T> operandRef;
    NoValueFlag hasOperandNoValue;
    T operandNoValue = 0;
    T resultNoValue;

private:
    /// The straight line from one point to the next.
    struct Line {
        T slope;
        T intercept;
    };

    void Clear() noexcept {
        points.clear();
        inputs.clear();
        lines.clear();
        firstStep = 0;
    }
    void PrepareLookUp() noexcept;

    T ValueAt(T v) const noexcept {
        if (inputs.front() > v) [[unlikely]]
            return points.front().y;
        const std::size_t i = firstStep != 0 ? LastReachedAscending(v) : LastReached(v);
        if (i + 1 == inputs.size()) [[unlikely]]
            return points.back().y;
        return lines[i].intercept + v * lines[i].slope;
    }

    /// The index of the point in front of the first one whose x is above v, or of the last point if none is. The very
    /// first x must not be above v.
    std::size_t LastReached(T v) const noexcept {
        const auto isAbove = [v](T x) { return x > v; };
        return static_cast<std::size_t>(std::ranges::find_if(inputs, isAbove) - inputs.begin()) - 1;
    }

    /// The same on a curve that nowhere descends, by halves. The first comparison leaves the first or the last points,
    /// in either case a power of two of them, so that every curve of one length takes the same number of comparisons.
    std::size_t LastReachedAscending(T v) const noexcept {
        const std::size_t lastPoints = inputs.size() - firstStep;
        std::size_t reached = inputs[lastPoints] > v ? 0 : lastPoints;
        for (std::size_t step = firstStep / 2; step != 0; step /= 2)
            reached += inputs[reached + step] > v ? 0 : step;
        return reached;
    }

    // What makes a look-up short: the x of the points side by side, and the lines between them.
    std::vector<T> inputs;
    std::vector<Line> lines;
    /// The largest power of two below the number of points; 0 if they cannot be searched by halves.
    std::size_t firstStep = 0;
};

template <class T>
bool CLinea<T>::Initialize(Parameters& parameters) {
    Clear();
    if (parameters.Count() == 0 || parameters.Count() % 2 != 0)
        return false;
    // All storage first: if there is not enough, the curve stays empty.
    const std::size_t count = parameters.Count() / 2;
    points.reserve(count);
    inputs.reserve(count);
    lines.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        points.push_back({.x = parameters.NextSample<T>(), .y = parameters.NextSample<T>()});
    PrepareLookUp();
    return true;
}

template <class T>
void CLinea<T>::PrepareLookUp() noexcept {
    for (const LineaPoint<T>& point : points)
        inputs.push_back(point.x);

    // A line between two equal x is never looked up, so that its division by zero does not matter.
    bool isAscending = points.size() > 1;
    for (std::size_t i = 1; i < points.size(); ++i) {
        const LineaPoint<T>& from = points[i - 1];
        const LineaPoint<T>& to = points[i];
        const T slope = (to.y - from.y) / (to.x - from.x);
        lines.push_back({.slope = slope, .intercept = to.y - to.x * slope});
        isAscending = isAscending && from.x <= to.x; // not so for a NaN
    }
    if (isAscending)
        firstStep = std::bit_floor(points.size() - 1);
}

template <class T>
using CLineaNV = CNoValueAware<CLinea<T>>;

/// "VLinea" that is not NoValue-aware: intended to do nothing. Execute returns false and leaves the result as it is.
template <class T>
class CVLinea final : public CLinea<T> {
public:
    using CLinea<T>::CLinea;
    bool Execute() override { return false; }
};

/// "VLinea" that is NoValue-aware: as "Linea", but a NoValue counts as 0. Intended: the 0 is written into the operand's
/// own channel, the comparison is the plain one, which no NaN passes, and an operand without a marker compares with 0.
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
