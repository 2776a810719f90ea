// Scales the numbers of an axis, so that a plotter with six digits and a limited range can draw any of them.
#pragma once

#include <string>

namespace Velreplay {

/// Subtracts an offset from numbers whose differences are small compared with their size, such as Unix times. Divides
/// very large and very small numbers by a power of ten.
class Axis {
public:
    /// For numbers from `lowest` to `highest`, both finite.
    Axis(double lowest, double highest);

    double Shown(double number) const;
    double Lowest() const { return shownLowest; }
    double Highest() const { return shownHighest; }
    bool HasOffset() const { return offset != 0; }
    /// The label of the axis with its offset and power of ten, such as "time - 1700000000". If the text is empty, the
    /// name is used.
    std::string Label(const std::string& text, const std::string& name) const;

private:
    double offset = 0;
    int exponent = 0;
    double shownLowest = 0;
    double shownHighest = 0;
};

} // namespace Velreplay
