/// The system's tick counter.
#pragma once

#include <cstdint>

namespace Velmarosk::Platform {

/// Milliseconds since the system started, in 32 bits that wrap after 49.7 days. Time asleep counts. On Linux the
/// kernel's shared page answers, without a system call.
std::uint32_t GetTickCount() noexcept;

/// Milliseconds since an earlier tick count, even if the counter has wrapped since.
inline std::uint32_t MillisecondsSince(std::uint32_t earlierTickCount) noexcept {
    return GetTickCount() - earlierTickCount;
}

} // namespace Velmarosk::Platform
