#include "signal/Statistics.h"

namespace Velmarosk::Operation {

namespace {

template <class T>
using FourAlike = Signature<T, T, T, T>;
template <class T>
using CStatisticsOf = CStatistics<T, T>;
template <class T>
using CStatisticsNVOf = CStatisticsNV<T, T>;

constexpr Family families[] = {
    {"Statistics", rowsOfOne<CStatisticsOf, CStatisticsNVOf, ForEach<FourAlike, AllTypes>>},
};

} // namespace

std::span<const Family> StatisticsFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
