/// The rules that a plan adds to operations: when they are reset, and how long a sample is held.
#pragma once

#include "engine/Samples.h"

#include <cmath>
#include <optional>
#include <utility>
#include <vector>

namespace Vel::Engine {

/// Finds the rows in which a channel is true: it has a sample other than 0.
class Truth {
public:
    explicit Truth(const ChannelAtWork& itsChannel) : channel(itsChannel) {}

    /// Calls `function` with each such row of the block.
    template <class TFunction>
    void ForEachRow(std::size_t rows, TFunction function) const {
        std::visit(
            [&]<class T>(T noValue) {
                for (std::size_t row = 0; row < rows; ++row) {
                    const T sample = channel.column->template At<T>(row);
                    if (!IsNoValue(sample, noValue) && sample != 0)
                        function(row);
                }
            },
            channel.channel->noValue);
    }

private:
    ChannelAtWork channel;
};

/// Finds the rows in which a channel's sample differs from the sample before. Missing samples are skipped. NaN equals
/// NaN, and -0 equals 0.
class Changes {
public:
    explicit Changes(const ChannelAtWork& itsChannel) : channel(itsChannel) {}

    /// Calls `function` with each such row of the block. Blocks follow one another.
    template <class TFunction>
    void ForEachRow(std::size_t rows, TFunction function) {
        std::visit(
            [&]<class T>(T noValue) {
                for (std::size_t row = 0; row < rows; ++row) {
                    const T sample = channel.column->template At<T>(row);
                    if (IsNoValue(sample, noValue))
                        continue;
                    const T before = last.Get<T>();
                    if (std::exchange(hasLast, true) && !IsNoValue(sample, before)) // equal, or both NaN
                        function(row);
                    last.Set(sample);
                }
            },
            channel.channel->noValue);
    }
    /// Starts again, as if there had been no sample.
    void Forget() noexcept { hasLast = false; }

private:
    ChannelAtWork channel;
    SampleCell last;
    bool hasLast = false;
};

/// Replaces missing samples with the last sample for a limited number of rows.
class Hold {
public:
    explicit Hold(std::uint64_t itsRows) : rows(itsRows) {}

    /// Takes the sample of the next row. If it is missing, replaces it with the held one and returns true.
    template <Sample T>
    bool Apply(T& sample, T noValue) noexcept {
        if (!IsNoValue(sample, noValue)) {
            last.Set(sample);
            left = rows;
            return false;
        }
        if (left == 0)
            return false;
        --left;
        sample = last.Get<T>();
        return true;
    }
    void Forget() noexcept { left = 0; }

private:
    std::uint64_t rows;
    std::uint64_t left = 0;
    SampleCell last;
};

} // namespace Vel::Engine
