/// The clocks that the tests link in the place of the platform's own: they stand at what a test sets.
#pragma once

#include <cstdint>

namespace FakePlatform {

/// What Platform::GetTickCount answers, in milliseconds.
inline std::uint32_t tickCount = 0;
/// How often it was asked.
inline int tickCountReads = 0;

} // namespace FakePlatform
