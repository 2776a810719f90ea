#include "vocabulary/SampleTypes.h"

namespace Vel {

std::optional<SampleType> FindType(std::string_view name) {
    for (const SampleType& type : sampleTypes)
        if (type.name == name)
            return type;
    return std::nullopt;
}

std::string TypeNames() {
    std::string all;
    for (const SampleType& type : sampleTypes)
        all.append(all.empty() ? "" : ", ").append(type.name);
    return all;
}

} // namespace Vel
