/// The files that this process has open.
#pragma once

#include <set>

#include <fcntl.h>

namespace VelChecks {

inline std::set<int> OpenDescriptors() {
    constexpr int mostTried = 256;
    std::set<int> descriptors;
    for (int descriptor = 0; descriptor < mostTried; ++descriptor)
        if (fcntl(descriptor, F_GETFD) != -1)
            descriptors.insert(descriptor);
    return descriptors;
}

} // namespace VelChecks
