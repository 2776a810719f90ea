#include "HandWritten.h"

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace HandWritten {

bool Execute(void* object) { return object != nullptr && static_cast<Object*>(object)->Execute(); }

namespace {

/// An operand with its marker. Without a sample at creation there is no marker.
template <class T>
class Input {
public:
    explicit Input(T** hostPointer)
        : location(hostPointer), hasNoValue(*hostPointer != nullptr), noValue(hasNoValue ? **hostPointer : T{}) {}
    T Read() const { return **location; }
    /// A NaN as marker stands for every NaN.
    bool IsNoValue(T sample) const {
        if constexpr (std::is_floating_point_v<T>)
            return hasNoValue && (sample == noValue || (std::isnan(sample) && std::isnan(noValue)));
        else
            return hasNoValue && sample == noValue;
    }

private:
    T** location;
    bool hasNoValue;
    T noValue;
};

template <class T>
class Output {
public:
    explicit Output(T** hostPointer) : location(hostPointer), noValue(**hostPointer) {}
    bool Write(T sample) const {
        **location = sample;
        return true;
    }
    bool WriteNoValue() const {
        **location = noValue;
        return false;
    }

private:
    T** location;
    T noValue;
};

/// An operation with two operands. The step writes the result, or returns false.
template <bool noValueAware, class TResult, class TOperand, class TFunction>
class Binary final : public Object {
public:
    Binary(TResult** result, TOperand** operand1, TOperand** operand2) : z(result), x(operand1), y(operand2) {}
    bool Execute() override {
        const TOperand a = x.Read();
        const TOperand b = y.Read();
        if (noValueAware && (x.IsNoValue(a) || y.IsNoValue(b)))
            return z.WriteNoValue();
        return function(z, a, b);
    }

private:
    Output<TResult> z;
    Input<TOperand> x;
    Input<TOperand> y;
    TFunction function;
};

struct AddStep {
    bool operator()(const Output<double>& z, double a, double b) const { return z.Write(a + b); }
};
template <bool noValueAware>
using Plus = Binary<noValueAware, double, double, AddStep>;

struct DivideStep {
    bool operator()(const Output<double>& z, double a, double b) const { return b != 0 && z.Write(a / b); }
};
template <bool noValueAware>
using Divide = Binary<noValueAware, double, double, DivideStep>;

struct EqualStep {
    bool operator()(const Output<std::uint16_t>& z, double a, double b) const { return z.Write(a == b); }
};
template <bool noValueAware>
using Equal = Binary<noValueAware, std::uint16_t, double, EqualStep>;

/// Its NoValue resets it.
template <bool noValueAware>
class UpperLimit final : public Object {
public:
    UpperLimit(std::uint16_t** result, double** operand1, double** operand2, double itsHysteresis)
        : z(result), x(operand1), y(operand2), hysteresis(itsHysteresis) {}
    bool Execute() override {
        const double value = x.Read();
        const double limit = y.Read();
        if (noValueAware && (x.IsNoValue(value) || y.IsNoValue(limit))) {
            isExceeded = false;
            return z.WriteNoValue();
        }
        if (isExceeded) {
            if (value < limit - hysteresis)
                ChangeTo(false);
        } else if (value > limit) {
            ChangeTo(true);
        }
        return true;
    }

private:
    Output<std::uint16_t> z;
    Input<double> x;
    Input<double> y;
    void ChangeTo(bool exceeded) {
        isExceeded = exceeded;
        z.Write(exceeded);
    }

    double hysteresis;
    bool isExceeded = false;
};

template <bool noValueAware>
class If final : public Object {
public:
    If(double** result, std::uint16_t** condition, double** operand2, double** operand3)
        : z(result), c(condition), x(operand2), y(operand3) {}
    bool Execute() override {
        const std::uint16_t condition = c.Read();
        if (noValueAware && c.IsNoValue(condition))
            return z.WriteNoValue();
        const Input<double>& selected = condition != 0 ? x : y;
        const double sample = selected.Read();
        if (noValueAware && selected.IsNoValue(sample))
            return z.WriteNoValue();
        return z.Write(sample);
    }

private:
    Output<double> z;
    Input<std::uint16_t> c;
    Input<double> x;
    Input<double> y;
};

/// An operation with one operand. A step may have a state and gives the result itself.
template <bool noValueAware, class TResult, class TOperand, class TStep>
class Unary final : public Object {
public:
    template <class... TParameters>
    Unary(TResult** result, TOperand** operand, TParameters... parameters)
        : z(result), x(operand), step(parameters...) {}
    bool Execute() override {
        const TOperand sample = x.Read();
        if (noValueAware && x.IsNoValue(sample))
            return TStep::Refuse(step, z);
        return step(z, sample);
    }

private:
    Output<TResult> z;
    Input<TOperand> x;
    TStep step;
};

/// What most steps do without a value.
struct Refusing {
    template <class TStep, class TResult>
    static bool Refuse(TStep& /*step*/, const Output<TResult>& z) {
        return z.WriteNoValue();
    }
};

struct CastStep : Refusing {
    bool operator()(const Output<std::int32_t>& z, double sample) const {
        // Values that do not fit give the lowest, like the processor's own conversion.
        return z.Write(_mm_cvttsd_si32(_mm_set_sd(sample)));
    }
};
template <bool noValueAware>
using Cast = Unary<noValueAware, std::int32_t, double, CastStep>;

template <bool noValueAware>
class PosEdge final : public Object {
public:
    PosEdge(std::uint16_t** result, double** operand, double itsThreshold)
        : z(result), x(operand), threshold(itsThreshold) {}
    bool Execute() override {
        const double sample = x.Read();
        if (noValueAware && x.IsNoValue(sample))
            return z.WriteNoValue();
        z.Write(oldSample <= threshold && sample > threshold);
        oldSample = x.Read(); // contract: after the result, which may be the same channel
        return true;
    }

private:
    Output<std::uint16_t> z;
    Input<double> x;
    double threshold;
    double oldSample = 0;
};

struct Gate {
    bool Admits(double sample) const { return !(sample < lower) && !(sample > upper); }
    double lower = std::numeric_limits<double>::lowest();
    double upper = std::numeric_limits<double>::max();
};

struct AverageStep {
    explicit AverageStep(std::size_t length) : window(length) {}
    bool operator()(const Output<double>& z, double sample) {
        if (!gate.Admits(sample))
            return WriteMean(z);
        double rest = sum;
        if (count == window.size())
            rest -= window[next];
        else
            ++count;
        window[next] = sample;
        if (++next == window.size())
            next = 0;
        sum = rest + sample;
        return WriteMean(z);
    }
    static bool Refuse(const AverageStep& step, const Output<double>& z) { return step.WriteMean(z); }
    bool WriteMean(const Output<double>& z) const {
        return count != 0 && z.Write(sum / static_cast<double>(static_cast<std::int64_t>(count)));
    }
    Gate gate;
    std::vector<double> window;
    std::size_t next = 0;
    std::size_t count = 0;
    double sum = 0;
};
template <bool noValueAware>
using Average = Unary<noValueAware, double, double, AverageStep>;

struct DelayStep : Refusing {
    explicit DelayStep(std::size_t depth) : line(depth) {} // filled with the stated value, 0
    bool operator()(const Output<double>& z, double sample) {
        const double oldest = line[next];
        line[next] = sample;
        if (++next == line.size())
            next = 0;
        return z.Write(oldest);
    }
    std::vector<double> line;
    std::size_t next = 0;
};
template <bool noValueAware>
using GetOldValueN = Unary<noValueAware, double, double, DelayStep>;

struct LineaStep : Refusing {
    explicit LineaStep(const std::vector<CurvePoint>& points) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            const CurvePoint& from = points[i];
            const CurvePoint& to = points[i + 1 < points.size() ? i + 1 : i];
            inputs.push_back(from.x);
            const double slope = i + 1 < points.size() ? (to.y - from.y) / (to.x - from.x) : 0;
            lines.push_back({slope, to.y - to.x * slope});
        }
        first = points.front().y;
        last = points.back().y;
    }
    bool operator()(const Output<double>& z, double sample) const {
        if (inputs.empty())
            return false;
        if (sample < inputs.front())
            return z.Write(first);
        if (!(sample < inputs.back()))
            return z.Write(last);
        // A halving search without branches, which would be mispredicted every other time.
        const double* reached = inputs.data();
        for (std::size_t count = inputs.size(); count > 1; count -= count / 2)
            reached = reached[count / 2] <= sample ? reached + count / 2 : reached;
        const CurvePoint& line = lines[static_cast<std::size_t>(reached - inputs.data())];
        return z.Write(line.y + sample * line.x);
    }
    std::vector<double> inputs;
    std::vector<CurvePoint> lines; ///< slope and intercept
    double first;
    double last;
};
template <bool noValueAware>
using Linea = Unary<noValueAware, double, double, LineaStep>;

/// The same for samples that mostly lie on the line of the sample before, or on the next one.
struct RememberingLineaStep : LineaStep {
    using LineaStep::LineaStep;
    bool operator()(const Output<double>& z, double sample) {
        if (inputs.empty())
            return false;
        if (sample < inputs.front())
            return z.Write(first);
        if (!(sample < inputs.back()))
            return z.Write(last);
        while (sample < inputs[remembered])
            --remembered;
        while (sample >= inputs[remembered + 1])
            ++remembered;
        return z.Write(lines[remembered].y + sample * lines[remembered].x);
    }
    std::size_t remembered = 0;
};
template <bool noValueAware>
using RememberingLinea = Unary<noValueAware, double, double, RememberingLineaStep>;

/// A recursion over the last inputs and outputs for any order up to 8. The order of the sum is contract, to the last
/// bit: from the oldest sample it would be faster, since most of it could be done before the sample comes.
struct FilterStep : Refusing {
    explicit FilterStep(const std::vector<double>& forward, const std::vector<double>& backward)
        : count(forward.size()) {
        std::copy(forward.begin(), forward.end(), b.begin());
        std::copy(backward.begin(), backward.end(), a.begin());
    }
    bool operator()(const Output<double>& z, double sample) {
        double input = sample;
        double output = 0;
        double sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
            sum += b[i] * input - a[i] * output;
            std::swap(x[i], input);
            std::swap(y[i], output);
        }
        y[0] = sum;
        return z.Write(sum);
    }
    using Coefficients = std::array<double, 17>;
    std::size_t count;
    Coefficients b{};
    Coefficients a{};
    Coefficients x{};
    Coefficients y{};
};
template <bool noValueAware>
using LowPass = Unary<noValueAware, double, double, FilterStep>;

/// A wedge in one ring of a power of 2, which takes all its memory at creation.
struct MaxStep {
    explicit MaxStep(std::size_t length) : window(length), entries(std::bit_ceil(length)), mask(entries.size() - 1) {}
    bool operator()(const Output<double>& z, double sample) {
        if (!gate.Admits(sample))
            return Refuse(*this, z);
        if (begin != end && arrival - entries[begin & mask].arrival == window)
            ++begin;
        if (!std::isnan(sample)) {
            while (begin != end && sample >= entries[(end - 1) & mask].sample)
                --end;
            entries[end++ & mask] = {sample, arrival};
        }
        ++arrival;
        return z.Write(begin != end ? entries[begin & mask].sample : sample);
    }
    static bool Refuse(const MaxStep& step, const Output<double>& z) {
        return step.begin != step.end && z.Write(step.entries[step.begin & step.mask].sample);
    }
    struct Entry {
        double sample;
        std::uint64_t arrival;
    };
    Gate gate;
    std::size_t window;
    std::vector<Entry> entries;
    std::size_t mask;
    std::size_t begin = 0;
    std::size_t end = 0;
    std::uint64_t arrival = 0;
};
template <bool noValueAware>
using Max = Unary<noValueAware, double, double, MaxStep>;

template <template <bool> class TObject, class... TArguments>
ObjectPointer Make(bool noValueAware, const TArguments&... arguments) {
    if (noValueAware)
        return std::make_unique<TObject<true>>(arguments...);
    return std::make_unique<TObject<false>>(arguments...);
}

} // namespace

ObjectPointer MakePlus(bool noValueAware, double** result, double** operand1, double** operand2) {
    return Make<Plus>(noValueAware, result, operand1, operand2);
}
ObjectPointer MakeDivide(bool noValueAware, double** result, double** operand1, double** operand2) {
    return Make<Divide>(noValueAware, result, operand1, operand2);
}
ObjectPointer MakeEqual(bool noValueAware, std::uint16_t** result, double** operand1, double** operand2) {
    return Make<Equal>(noValueAware, result, operand1, operand2);
}
ObjectPointer MakeUpperLimit(bool noValueAware, std::uint16_t** result, double** operand1, double** operand2,
                             double hysteresis) {
    return Make<UpperLimit>(noValueAware, result, operand1, operand2, hysteresis);
}
ObjectPointer MakeIf(bool noValueAware, double** result, std::uint16_t** condition, double** operand2,
                     double** operand3) {
    return Make<If>(noValueAware, result, condition, operand2, operand3);
}
ObjectPointer MakeCast(bool noValueAware, std::int32_t** result, double** operand) {
    return Make<Cast>(noValueAware, result, operand);
}
ObjectPointer MakePosEdge(bool noValueAware, std::uint16_t** result, double** operand, double threshold) {
    return Make<PosEdge>(noValueAware, result, operand, threshold);
}
ObjectPointer MakeAverage(bool noValueAware, double** result, double** operand, std::size_t window) {
    return Make<Average>(noValueAware, result, operand, window);
}
ObjectPointer MakeGetOldValueN(bool noValueAware, double** result, double** operand, std::size_t depth) {
    return Make<GetOldValueN>(noValueAware, result, operand, depth);
}
ObjectPointer MakeLinea(bool noValueAware, double** result, double** operand, const std::vector<CurvePoint>& points) {
    return Make<Linea>(noValueAware, result, operand, points);
}
ObjectPointer MakeRememberingLinea(bool noValueAware, double** result, double** operand,
                                   const std::vector<CurvePoint>& points) {
    return Make<RememberingLinea>(noValueAware, result, operand, points);
}
ObjectPointer MakeLowPass(bool noValueAware, double** result, double** operand, const std::vector<double>& forward,
                          const std::vector<double>& backward) {
    return Make<LowPass>(noValueAware, result, operand, forward, backward);
}
ObjectPointer MakeMax(bool noValueAware, double** result, double** operand, std::size_t window) {
    return Make<Max>(noValueAware, result, operand, window);
}

} // namespace HandWritten
