#include "host/Envelope.h"

#include <algorithm>
#include <cmath>

namespace Velreplay {

namespace {

constexpr std::size_t mostSpans = 4096; // more than a picture has columns of points

template <class T>
bool CanBeDrawn(const Samples<T>& samples, std::size_t row) {
    const T value = samples.values[row];
    return !samples.IsNoValue(value) && std::isfinite(static_cast<double>(value));
}

Span Join(const Span& a, const Span& b) {
    Span joined{a.x, a.smallest, a.largest, a.hasSample || b.hasSample, a.hasGap || b.hasGap};
    if (!b.hasSample)
        return joined;
    joined.smallest = a.hasSample ? std::min(a.smallest, b.smallest) : b.smallest;
    joined.largest = a.hasSample ? std::max(a.largest, b.largest) : b.largest;
    return joined;
}

} // namespace

void Envelope::Take(std::size_t rows) {
    std::visit(
        [&](const auto& xs, const auto& ys) {
            for (std::size_t row = 1; row <= rows; ++row)
                if (CanBeDrawn(xs, row))
                    Add(static_cast<double>(xs.values[row]), static_cast<double>(ys.values[row]), CanBeDrawn(ys, row));
        },
        x.samples, y.samples);
}

void Envelope::Add(double at, double value, bool hasSample) {
    const Span sample{at, value, value, hasSample, !hasSample};
    if (rowsInLast == 0 || rowsInLast == rowsPerSpan) {
        if (spans.size() == mostSpans)
            Halve();
        spans.push_back(sample);
        rowsInLast = 1;
        return;
    }
    spans.back() = Join(spans.back(), sample);
    ++rowsInLast;
}

void Envelope::Halve() {
    for (std::size_t i = 0; i < mostSpans / 2; ++i)
        spans[i] = Join(spans[2 * i], spans[2 * i + 1]);
    spans.resize(mostSpans / 2);
    rowsPerSpan *= 2;
}

bool Envelope::HasSample() const {
    return std::any_of(spans.begin(), spans.end(), [](const Span& span) { return span.hasSample; });
}

bool Envelope::IsBoolean() const {
    return !y.IsFloating() && std::all_of(spans.begin(), spans.end(), [](const Span& span) {
        return !span.hasSample || (span.smallest >= 0 && span.largest <= 1);
    });
}

} // namespace Velreplay
