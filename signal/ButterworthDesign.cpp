#include "signal/ButterworthDesign.h"

#include "core/Arithmetic.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <span>

namespace Velmarosk::Operation {

namespace {

using std::numbers::pi;

/// The prototype's poles in one quarter of the unit circle, one of each conjugate pair, as the distances of their real
/// parts from 0. The real pole of an odd order comes last.
class PrototypePoles {
public:
    explicit PrototypePoles(UInt8 order) noexcept {
        const Float64 n = order;
        for (int i = 0; i < 2 * order; ++i) {
            Float64 angle = i * pi / n;
            if (order % 2 == 0)
                angle = angle + (pi / n) * 0.5;
            const Float64 real = std::cos(angle);
            const Float64 imaginary = -std::sin(angle);
            // Rounding makes the imaginary part of the real pole a tiny negative number.
            if (real < 0.0 && imaginary <= 0.0)
                distances[count++] = std::abs(real);
        }
    }

    const Float64* begin() const noexcept { return distances.data(); }
    const Float64* end() const noexcept { return distances.data() + count; }
    std::size_t Count() const noexcept { return count; }

private:
    std::array<Float64, std::size_t{2} * maxFilterOrder> distances{};
    std::size_t count = 0;
};

/// One section, the newest sample first.
template <std::size_t length>
struct Section {
    std::array<Float64, length> b;
    std::array<Float64, length> a;
};

/// Multiplies a section into the product of those before it.
template <std::size_t length>
void MultiplyInto(FilterCoefficients& product, std::size_t& productLength,
                  const std::array<Float64, length>& section) noexcept {
    FilterCoefficients multiplied{};
    for (std::size_t i = 0; i < productLength; ++i) {
        for (std::size_t j = 0; j < length; ++j)
            multiplied[i + j] += product[i] * section[j];
    }
    product = multiplied;
    productLength += length - 1;
}

template <std::size_t length>
void Multiply(ButterworthDesign& design, std::span<const Section<length>> sections) noexcept {
    if (sections.empty()) {
        design.a[0] = 1.0;
        return;
    }
    std::ranges::copy(sections[0].b, design.b.begin());
    std::ranges::copy(sections[0].a, design.a.begin());
    std::size_t bLength = length;
    std::size_t aLength = length;
    for (const Section<length>& section : sections.subspan(1)) {
        MultiplyInto(design.b, bLength, section.b);
        MultiplyInto(design.a, aLength, section.a);
    }
}

constexpr std::size_t maxSections = maxFilterOrder / 2;

/// Makes a section of each pole; the real pole of an odd order makes a section of lower order.
template <std::size_t length, class TPairSection, class TRealSection>
ButterworthDesign Design(UInt8 order, TPairSection pairSection, TRealSection realSection) noexcept {
    const PrototypePoles poles(order);
    std::array<Section<length>, maxSections> sections;
    std::ranges::transform(poles, sections.begin(), pairSection);
    if (order % 2 == 1)
        sections[poles.Count() - 1] = realSection();

    constexpr int degreesOfOrder = (length - 1) / 2;
    ButterworthDesign design;
    design.coefficientCount = degreesOfOrder * order + 1;
    Multiply<length>(design, {sections.data(), poles.Count()});
    return design;
}

UInt8 Clamped(UInt8 order) noexcept { return std::min(order, maxFilterOrder); }

enum class Pass { Low, High };

template <Pass pass>
std::optional<ButterworthDesign> DesignPass(const ButterworthParameters& parameters) noexcept {
    const Float64 fc = parameters.corner1;
    const Float64 fs = parameters.sampleRate;
    const Float64 ratio = fc / fs;
    if (ratio > 0.5 || ratio == 0.0)
        return std::nullopt;

    const Float64 w = 2.0 * std::tan(((fc * 2.0) / fs) * pi * 0.5);
    const Float64 w2 = w * w;
    const auto pairSection = [&](Float64 re) -> Section<3> {
        const Float64 d = (w2 + 4.0) + 4.0 * re * w;
        const Float64 a1 = (2.0 * w2 - 8.0) / d;
        const Float64 a2 = ((4.0 - 4.0 * re * w) + w2) / d;
        if constexpr (pass == Pass::Low)
            return {{w2 / d, 2.0 * w2 / d, w2 / d}, {1.0, a1, a2}};
        else
            return {{4.0 / d, -8.0 / d, 4.0 / d}, {1.0, a1, a2}};
    };
    const auto realSection = [&]() -> Section<3> {
        const Float64 d = w + 2.0;
        const Float64 a1 = (w - 2.0) / d;
        if constexpr (pass == Pass::Low)
            return {{w / d, w / d, 0.0}, {1.0, a1, 0.0}};
        else
            return {{2.0 / d, -2.0 / d, 0.0}, {1.0, a1, 0.0}};
    };
    return Design<3>(Clamped(parameters.order), pairSection, realSection);
}

enum class Band { Pass, Stop };

bool IsRefusedBand(Float64 corner1, Float64 corner2) noexcept {
    return corner1 == corner2 || (corner1 == 0.0 && corner2 == 0.5) || (corner1 == 0.5 && corner2 == 0.0);
}

/// The design from the angular corners, in radians per sample.
template <Band band>
ButterworthDesign DesignBand(UInt8 order, Float64 fs, Float64 phi1, Float64 phi2) noexcept {
    const Float64 t = 1.0 / fs;
    const Float64 k = 2.0 / t;
    const Float64 w1 = std::tan(phi1 * 0.5) * k;
    const Float64 w2 = std::tan(phi2 * 0.5) * k;
    const Float64 w0 = SquareRootOf(w2 * w1);
    const Float64 q = w0 / (w2 - w1);
    const Float64 c = t * w0;

    const Float64 q2 = q * q;
    const Float64 c2 = c * c;
    const Float64 c3 = c * c * c;
    const Float64 c4 = c * c * c * c;
    const auto pairSection = [&](Float64 re) -> Section<5> {
        const Float64 d = 2.0 * re;
        const Float64 divisor = 16.0 * q2 + 8.0 * q2 * c2 + q2 * c4 + 8.0 * d * q * c + 2.0 * d * q * c3 + 4.0 * c2;
        const Float64 a1 = (4.0 * q2 * c4 - 64.0 * q2 + 4.0 * d * q * c3 - 16.0 * d * q * c) / divisor;
        const Float64 a2 = (6.0 * q2 * c4 - 16.0 * q2 * c2 + 96.0 * q2 - 8.0 * c2) / divisor;
        const Float64 a3 = (4.0 * q2 * c4 - 64.0 * q2 - 4.0 * d * q * c3 + 16.0 * d * q * c) / divisor;
        const Float64 a4 =
            (16.0 * q2 + 8.0 * q2 * c2 + q2 * c4 - 8.0 * d * q * c - 2.0 * d * q * c3 + 4.0 * c2) / divisor;
        if constexpr (band == Band::Pass) {
            const Float64 g = 4.0 * c2 / divisor;
            return {{g, 0.0, -2.0 * g, 0.0, g}, {1.0, a1, a2, a3, a4}};
        } else {
            const Float64 p0 = c2 + 4.0;
            const Float64 p1 = 2.0 * c2 - 8.0;
            const Float64 g = q2 / divisor;
            const Float64 outer = g * (p0 * p0);
            const Float64 inner = g * (2.0 * p0 * p1);
            return {{outer, inner, g * (p1 * p1 + 2.0 * (p0 * p0)), inner, outer}, {1.0, a1, a2, a3, a4}};
        }
    };
    const auto realSection = [&]() -> Section<5> {
        const Float64 divisor = q * c2 + 2.0 * c + 4.0 * q;
        const Float64 a1 = (2.0 * q * c2 - 8.0 * q) / divisor;
        const Float64 a2 = (q * c2 - 2.0 * c + 4.0 * q) / divisor;
        if constexpr (band == Band::Pass) {
            const Float64 g = 2.0 * c / divisor;
            return {{g, 0.0, -g, 0.0, 0.0}, {1.0, a1, a2, 0.0, 0.0}};
        } else {
            const Float64 outer = q * (c2 + 4.0) / divisor;
            return {{outer, q * (2.0 * c2 - 8.0) / divisor, outer, 0.0, 0.0}, {1.0, a1, a2, 0.0, 0.0}};
        }
    };
    return Design<5>(order, pairSection, realSection);
}

} // namespace

StopBand StopBandOf(Float64 corner1, Float64 corner2) noexcept {
    const Float64 center = (corner2 + corner1) * 0.5;
    const Float64 width = corner2 - corner1;
    const Float64 q = center / width;
    const Float64 r = SquareRootOf(0.25 / (q * q) + 1.0);
    return {center, width, (r - 1.0 / (2.0 * q)) * center, (r + 1.0 / (2.0 * q)) * center};
}

std::optional<ButterworthDesign> DesignLowPass(const ButterworthParameters& parameters) noexcept {
    return DesignPass<Pass::Low>(parameters);
}

std::optional<ButterworthDesign> DesignHighPass(const ButterworthParameters& parameters) noexcept {
    return DesignPass<Pass::High>(parameters);
}

std::optional<ButterworthDesign> DesignBandPass(const ButterworthParameters& parameters) noexcept {
    if (IsRefusedBand(parameters.corner1, parameters.corner2))
        return std::nullopt;
    const Float64 fs = parameters.sampleRate;
    const auto angle = [fs](Float64 f) {
        constexpr auto quarterOfRate = std::bit_cast<Float64>(UInt64{0x3FF921FB5442046B}); // a little less than pi / 2
        return f / fs >= 0.5 ? quarterOfRate : ((f * 2.0) / fs) * pi;
    };
    return DesignBand<Band::Pass>(Clamped(parameters.order), fs, angle(parameters.corner1), angle(parameters.corner2));
}

std::optional<ButterworthDesign> DesignBandStop(const ButterworthParameters& parameters) noexcept {
    if (IsRefusedBand(parameters.corner1, parameters.corner2))
        return std::nullopt;
    const Float64 fs = parameters.sampleRate;
    const StopBand stop = StopBandOf(parameters.corner1, parameters.corner2);
    const auto angle = [fs](Float64 f) { return (f * pi * 2.0) / fs; };
    return DesignBand<Band::Stop>(Clamped(parameters.order), fs, angle(stop.lowerEdge), angle(stop.upperEdge));
}

} // namespace Velmarosk::Operation
