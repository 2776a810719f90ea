#include "logic/Edges.h"

namespace Velmarosk::Operation {

namespace {

constexpr TypeRow startOnlyRows[] = {Row<CStartOnlyTrigger, CStartOnlyTriggerNV>("WW")};
constexpr TypeRow stopOnlyRows[] = {Row<CStopOnlyTrigger, CStopOnlyTriggerNV>("WW")};
constexpr TypeRow pulseRows[] = {Row<CStartNotStopTriggerPuls, CStartNotStopTriggerPulsNV>("WW")};
constexpr TypeRow startStopRows[] = {Row<CStartStopTrigger, CStartStopTriggerNV>("WWW")};
constexpr TypeRow startNotStopRows[] = {Row<CStartNotStopTrigger, CStartNotStopTriggerNV>("WWW")};

constexpr Family families[] = {
    {"PosEdge", rows<CPosEdge, CPosEdgeNV, ForEach<BooleanOfOne, AllTypes>>},
    {"NegEdge", rows<CNegEdge, CNegEdgeNV, ForEach<BooleanOfOne, AllTypes>>},
    {"IsTic", rows<CIsTic, CIsTicNV, ForEach<BooleanOfOne, IntegerTypes>>},
    {"StartOnlyTrigger", startOnlyRows},
    {"StopOnlyTrigger", stopOnlyRows},
    {"StartNotStopTriggerPuls", pulseRows},
    {"StartStopTrigger", startStopRows},
    {"StartNotStopTrigger", startNotStopRows},
};

} // namespace

std::span<const Family> EdgeFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
