#include "velreplay/Envelope.h"

#include <algorithm>
#include <cmath>

namespace Velreplay {

namespace {

constexpr std::size_t mostSpans = 4096; // more than a picture has columns of points

/// Nothing for what cannot be drawn.
std::optional<double> Drawn(const Vel::Engine::Run& run, std::size_t channel, std::size_t row) {
    return std::visit(
        [&]<class T>(T noValue) -> std::optional<double> {
            const T value = run.ColumnOf(channel).At<T>(row);
            const auto number = static_cast<double>(value);
            return Vel::IsNoValue(value, noValue) || !std::isfinite(number) ? std::nullopt : std::optional(number);
        },
        run.Channels()[channel].noValue);
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
    for (std::size_t row = 0; row < rows; ++row)
        if (const auto at = Drawn(run, x, row); at && *at >= extent.from && *at <= extent.to)
            Add(*at, Drawn(run, y, row));
}

void Envelope::Add(double at, std::optional<double> value) {
    const Span sample{at, value.value_or(0), value.value_or(0), value.has_value(), !value};
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
    return !Y().Type().isFloating && std::all_of(spans.begin(), spans.end(), [](const Span& span) {
        return !span.hasSample || (span.smallest >= 0 && span.largest <= 1);
    });
}

} // namespace Velreplay
