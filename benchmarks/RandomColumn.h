/// The samples that the benchmarks pass through operations: the same on every run.
#pragma once

#include "VelOperation.hpp"

#include <cstddef>
#include <random>
#include <vector>

/// From 1 to 100, cut to whole numbers for integers.
template <Vel::Sample T>
std::vector<T> RandomColumn(std::size_t length) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> samples(1, 100);
    std::vector<T> column(length);
    for (T& sample : column)
        sample = static_cast<T>(samples(random));
    return column;
}
