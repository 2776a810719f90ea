/// Samples of each type: as bits, for code that knows their type by a letter; and at the edges of the type, for tests
/// that compare with a reference.
#pragma once

#include "vocabulary/SampleTypes.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace VelChecks {

/// The memory of a sample of any type: the first bytes; the others are 0.
using SampleBits = std::uint64_t;

/// The bits of a sample of some size as a number, the same on every byte order, and back.
inline std::uint64_t NumberOf(SampleBits sample, std::size_t size) {
    return std::endian::native == std::endian::big ? sample >> 8 * (sizeof sample - size) : sample;
}
inline SampleBits SampleOfNumber(std::uint64_t number, std::size_t size) {
    return std::endian::native == std::endian::big ? number << 8 * (sizeof number - size) : number;
}

template <Vel::Sample T>
SampleBits BitsOf(T value) {
    SampleBits bits = 0;
    std::memcpy(&bits, &value, sizeof value);
    return bits;
}

template <Vel::Sample T>
T FromBits(SampleBits bits) {
    T value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <Vel::Sample T>
bool IsNaN(T sample) {
    if constexpr (std::is_floating_point_v<T>)
        return std::isnan(sample);
    else
        return false;
}

using Vel::AllSampleTypes;
using Vel::ForEachType;
using Vel::IntegerSampleTypes;
using Vel::WithType;

/// Values on both sides of every point where a conversion or a comparison may change its outcome.
template <class T>
std::vector<T> EdgeSamples() {
    std::vector<T> samples;
    if constexpr (std::floating_point<T>) {
        const T infinity = std::numeric_limits<T>::infinity();
        for (const double exact :
             {0.0,    0.4,    1.0,    1.5,    2.9,      70000.0, 0x1p7,  0x1p8, 0x1p15, 0x1p16, 0x1p31,
              0x1p32, 0x1p53, 0x1p62, 0x1p63, 0x1.8p63, 0x1p64,  0x1p65, 5e9,   1e20,   1e30}) {
            const T value = static_cast<T>(exact);
            for (const T near : {value, std::nextafter(value, infinity), std::nextafter(value, -infinity)}) {
                samples.push_back(near);
                samples.push_back(-near);
            }
        }
        for (const T special : {infinity, std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::signaling_NaN(),
                                std::numeric_limits<T>::denorm_min(), std::numeric_limits<T>::max()}) {
            samples.push_back(special);
            samples.push_back(-special);
        }
    } else {
        for (int bit = 0; bit < 64; ++bit) {
            for (std::uint64_t offset = 0; offset < 3; ++offset) {
                samples.push_back(static_cast<T>((std::uint64_t{1} << bit) + offset - 1));
                samples.push_back(static_cast<T>(~(std::uint64_t{1} << bit) + offset));
            }
        }
        samples.push_back(static_cast<T>(0xFFFFFFFFFFFFFBFF)); // rounds twice on its way to a Float64
        samples.push_back(static_cast<T>(0x8000008000000001)); // and to a Float32
        std::ranges::sort(samples);
        samples.erase(std::unique(samples.begin(), samples.end()), samples.end());
    }
    return samples;
}

} // namespace VelChecks
