#include "logic/Curves.h"

namespace Velmarosk::Operation {

namespace {

constexpr Family families[] = {
    {"Linea", rowsOfOne<CLinea, CLineaNV, ForEach<TwoAlike, FloatTypes>>},
    {"VLinea", rowsOfOne<CVLinea, CVLineaNV, ForEach<TwoAlike, FloatTypes>>},
};

} // namespace

std::span<const Family> CurveFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
