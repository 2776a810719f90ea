// How the numbers of an axis are shown, so that a plotter with six digits and no great range can draw any.
#pragma once

#include <string>

namespace Velreplay {

/// Numbers far from 0 for their differences, as of Unix time, are shown less an offset, very large and very small ones
/// as parts of a power of ten.
class Axis {
public:
    /// For numbers from the lowest to the highest, both finite.
    Axis(double lowest, double highest);

    double Shown(double number) const;
    double Lowest() const { return shownLowest; }
    double Highest() const { return shownHighest; }
    bool HasOffset() const { return offset != 0; }
    /// What the axis shows of what the text says, such as "time - 1700000000". The name stands for an empty text.
    std::string Label(const std::string& text, const std::string& name) const;

private:
    double offset = 0;
    int exponent = 0;
    double shownLowest = 0;
    double shownHighest = 0;
};

} // namespace Velreplay
