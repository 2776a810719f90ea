#include "platform/TickCount.h"

#include <windows.h>

std::uint32_t Velmarosk::Platform::GetTickCount() noexcept { return ::GetTickCount(); }
