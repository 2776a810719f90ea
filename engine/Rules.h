/// What a plan puts around operations: when they begin anew, and how long a sample stands.
#pragma once

#include "engine/Samples.h"

#include <cmath>
#include <optional>
#include <utility>
#include <vector>

namespace Vel::Engine {

/// The rows in which a channel is true: it has a sample, and that is not 0.
class Truth {
public:
    explicit Truth(const ChannelAtWork& itsChannel) : channel(itsChannel) {}

    /// Calls a function with each of these rows of the block.
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

/// The rows in which a channel's sample differs from the last sample that there was. NaN equals NaN, and -0 equals 0.
class Changes {
public:
    explicit Changes(const ChannelAtWork& itsChannel) : channel(itsChannel) {}

    /// Calls a function with each of these rows of the block, which follows the block before.
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
    /// No sample has been there yet.
    void Forget() noexcept { hasLast = false; }

private:
    ChannelAtWork channel;
    SampleCell last;
    bool hasLast = false;
};

/// Lets the last sample stand in for missing ones, for so many rows.
class Hold {
public:
    explicit Hold(std::uint64_t itsRows) : rows(itsRows) {}

    /// Takes the sample of the next row. Puts the held one in its place if it is missing, and tells whether it has.
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
