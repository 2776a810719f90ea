#include "velreplay/Axis.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace Velreplay {

namespace {

// The range of the numbers themselves ends where differences of the largest Float64 begin.
using Wide = long double;

constexpr Wide mostOfRange = 1e5L; // six digits show the tics of a range
constexpr Wide large = 1e100L;
constexpr Wide small = 1e-100L;
constexpr Wide shareAround = 0.06L; // of a number that is alone on its axis
constexpr int digitsOfDouble = 17;

int ExponentOf(Wide number) { return static_cast<int>(std::floor(std::log10(number))); }

/// A number with only its first decimal digits, as people choose round numbers.
double FirstDigits(double number, int digits) {
    if (digits >= digitsOfDouble)
        return number;
    std::array<char, 32> text{};
    char* const end =
        std::to_chars(text.begin(), text.end(), number, std::chars_format::scientific, digitsOfDouble - 1).ptr;
    char* const point = std::find(text.begin(), end, '.');
    char* const exponent = std::find(text.begin(), end, 'e');
    std::fill(point + std::max(digits, 1), exponent, '0');
    double first = 0;
    std::from_chars(text.begin(), end, first);
    return first;
}

std::string TextOf(double number) {
    constexpr double mostFixed = 1e15;
    constexpr double leastFixed = 1e-4;
    std::array<char, 64> text{};
    const bool isFixed = number < mostFixed && number > leastFixed;
    const auto end = isFixed ? std::to_chars(text.begin(), text.end(), number, std::chars_format::fixed)
                             : std::to_chars(text.begin(), text.end(), number);
    return {text.begin(), end.ptr};
}

} // namespace

Axis::Axis(double lowest, double highest) {
    Wide low = lowest;
    Wide high = highest;
    if (low == 0 && high == 0) {
        high = 1;
    } else if (low == high) {
        const Wide around = std::max(1.0L, shareAround * std::abs(low));
        low -= around;
        high += around;
    }
    const Wide range = high - low;
    const Wide size = std::max(std::abs(low), std::abs(high));
    if (size > mostOfRange * range)
        offset = FirstDigits(lowest > 0 ? lowest : highest, ExponentOf(size) - ExponentOf(range));
    const Wide shownSize = std::max(std::abs(low - offset), std::abs(high - offset));
    if (shownSize >= large || shownSize < small)
        exponent = ExponentOf(shownSize);
    const Wide unit = std::pow(10.0L, exponent);
    shownLowest = static_cast<double>((low - offset) / unit);
    shownHighest = static_cast<double>((high - offset) / unit);
}

double Axis::Shown(double number) const {
    return static_cast<double>((static_cast<Wide>(number) - offset) / std::pow(10.0L, exponent));
}

std::string Axis::Label(const std::string& text, const std::string& name) const {
    if (offset == 0 && exponent == 0)
        return text;
    std::string label = text.empty() ? name : text;
    if (offset != 0)
        label += (offset < 0 ? " + " : " - ") + TextOf(std::abs(offset));
    if (exponent != 0)
        label = (offset != 0 ? "(" + label + ")" : label) + " / 1e" + std::to_string(exponent);
    return label;
}

} // namespace Velreplay
