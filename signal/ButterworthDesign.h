/// The design of digital Butterworth filters: from order, sample rate and corner frequencies to the coefficients of one
/// recursive filter. The analogue prototype goes through the bilinear transform with pre-warped corners, section by
/// section, then the sections are multiplied out. Knows numbers only, and always computes in Float64.
#pragma once

#include "core/SampleTypes.h"

#include <array>
#include <cstddef>
#include <optional>

namespace Velmarosk::Operation {

inline constexpr UInt8 maxFilterOrder = 8;
/// A band filter has twice the order of its prototype.
inline constexpr std::size_t maxFilterCoefficients = 2 * maxFilterOrder + 1;

using FilterCoefficients = std::array<Float64, maxFilterCoefficients>;

/// Corner frequencies are in the unit of the sample rate.
struct ButterworthParameters {
    Float64 sampleRate = 0;
    UInt8 order = 0;
    Float64 corner1 = 0; ///< the corner of low-pass and high-pass, the lower one of the bands
    Float64 corner2 = 0; ///< the upper corner of the bands; low-pass and high-pass ignore it
};

struct ButterworthDesign {
    SInt32 coefficientCount = 0;
    FilterCoefficients b{}; ///< of the inputs, the newest first
    FilterCoefficients a{}; ///< of the outputs, the newest first; a[0] is 1
};

/// The two edges that a band-stop is designed with. They keep the width of the band between the corners, but its
/// arithmetic centre becomes the geometric one, so the stop band is shifted against the corners.
struct StopBand {
    Float64 centerFrequency;
    Float64 bandwidth;
    Float64 lowerEdge;
    Float64 upperEdge;
};
StopBand StopBandOf(Float64 corner1, Float64 corner2) noexcept;

// Each design is empty if the corners are refused. An order above 8 counts as 8. Order 0 gives a single pair of
// coefficients, which writes 0 for finite samples. Parameters that make no sense, such as a rate of 0, are accepted and
// give infinite, NaN or unstable coefficients. A band-stop whose upper edge (StopBand) is above half the sample rate
// has NaN coefficients and writes NaN.

/// Refuses a corner of 0 and one above half the sample rate.
std::optional<ButterworthDesign> DesignLowPass(const ButterworthParameters& parameters) noexcept;
std::optional<ButterworthDesign> DesignHighPass(const ButterworthParameters& parameters) noexcept;

/// The bands refuse equal corners. They also refuse the corners 0 and 0.5, whatever the sample rate, but no other band
/// from 0 to half of the rate.
///
/// A corner of the band-pass at or above half the sample rate counts as a quarter of it.
std::optional<ButterworthDesign> DesignBandPass(const ButterworthParameters& parameters) noexcept;
std::optional<ButterworthDesign> DesignBandStop(const ButterworthParameters& parameters) noexcept;

} // namespace Velmarosk::Operation
