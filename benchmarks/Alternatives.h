/// What one would use instead of the library, each with the sample path that its own documentation recommends.
#pragma once

#include <liquid/liquid.h>
#include <muParser.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Alternatives {

/// A formula over a, b and c.
class Formula {
public:
    explicit Formula(const std::string& text) {
        constexpr std::array names{"a", "b", "c"};
        for (std::size_t i = 0; i < names.size(); ++i)
            parser.DefineVar(names[i], &variables[i]);
        parser.DefineConst("nan", std::numeric_limits<double>::quiet_NaN());
        parser.SetExpr(text);
        parser.Eval(); // compiles
    }
    Formula(const Formula&) = delete;
    Formula& operator=(const Formula&) = delete;
    void Set(std::size_t variable, double value) { variables[variable] = value; }
    double Step(double a) {
        variables[0] = a;
        return parser.Eval();
    }

private:
    std::array<double, 3> variables{1, 3, 2};
    mu::Parser parser;
};

/// liquid-dsp's low-pass of order 4 in one of its forms. It computes in Float32.
class LiquidLowPass {
public:
    LiquidLowPass(liquid_iirdes_format form, double relativeCorner)
        : filter(iirfilt_rrrf_create_prototype(LIQUID_IIRDES_BUTTER, LIQUID_IIRDES_LOWPASS, form, 4,
                                               static_cast<float>(relativeCorner), 0, 1, 60)) {}
    LiquidLowPass(const LiquidLowPass&) = delete;
    LiquidLowPass& operator=(const LiquidLowPass&) = delete;
    ~LiquidLowPass() { iirfilt_rrrf_destroy(filter); }
    double Step(double sample) {
        float output = 0;
        iirfilt_rrrf_execute(filter, static_cast<float>(sample), &output);
        return static_cast<double>(output);
    }

private:
    iirfilt_rrrf filter;
};

/// The samples of a window in order, and a ring of where each of them stands.
class MultisetMax {
public:
    explicit MultisetMax(std::size_t length) : places(length) {}
    double Step(double sample) {
        if (held == places.size())
            ordered.erase(places[next]);
        else
            ++held;
        places[next] = ordered.insert(sample);
        if (++next == places.size())
            next = 0;
        return *ordered.rbegin();
    }

private:
    std::multiset<double> ordered;
    std::vector<std::multiset<double>::iterator> places;
    std::size_t next = 0;
    std::size_t held = 0;
};

/// The textbook's wedge.
class DequeMax {
public:
    explicit DequeMax(std::size_t itsLength) : length(itsLength) {}
    double Step(double sample) {
        if (!wedge.empty() && arrival - wedge.front().second == length)
            wedge.pop_front();
        while (!wedge.empty() && wedge.back().first <= sample)
            wedge.pop_back();
        wedge.emplace_back(sample, arrival++);
        return wedge.front().first;
    }

private:
    std::deque<std::pair<double, std::uint64_t>> wedge;
    std::size_t length;
    std::uint64_t arrival = 0;
};

} // namespace Alternatives
