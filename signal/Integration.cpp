#include "signal/Integration.h"

namespace Velmarosk::Operation {

namespace {

using OneOperand = ForEach<TwoAlike, FloatTypes>;
using ValueAndTime = ForEach<ThreeAlike, FloatTypes>;

constexpr Family families[] = {
    {"Integral", rows<CIntegral, CIntegralNV, OneOperand>},
    {"IntegralAdd", rows<CIntegralAdd, CIntegralAddNV, OneOperand>},
    {"UpperIntegral", rows<CUpperIntegral, CUpperIntegralNV, OneOperand>},
    {"Differential", rows<CDifferential, CDifferentialNV, OneOperand>},
    {"Integral", rows<CIntegral2, CIntegral2NV, ValueAndTime>},
    {"IntegralAdd", rows<CIntegral2Add, CIntegral2AddNV, ValueAndTime>},
    {"UpperIntegral", rows<CUpperIntegral2, CUpperIntegral2NV, ValueAndTime>},
    {"Differential", rows<CDifferential2, CDifferential2NV, ValueAndTime>},
};

} // namespace

std::span<const Family> IntegrationFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
