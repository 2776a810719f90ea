/// The clocks that tests link instead of the platform's own. They show what a test sets.
#pragma once

#include "platform/FileTime.h"

#include <cstdint>

namespace FakePlatform {

/// What Platform::GetTickCount answers, in milliseconds.
inline std::uint32_t tickCount = 0;
/// How often it was asked.
inline int tickCountReads = 0;

/// What Platform::GetSystemTime and Platform::GetLocalTime answer.
inline Velmarosk::Platform::SYSTEMTIME systemTime{};
inline Velmarosk::Platform::SYSTEMTIME localTime{};

} // namespace FakePlatform
