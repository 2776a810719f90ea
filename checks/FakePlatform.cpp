#include "checks/FakePlatform.h"

#include "platform/SystemClock.h"
#include "platform/TickCount.h"

std::uint32_t Velmarosk::Platform::GetTickCount() noexcept {
    ++FakePlatform::tickCountReads;
    return FakePlatform::tickCount;
}

Velmarosk::Platform::SYSTEMTIME Velmarosk::Platform::GetSystemTime() noexcept { return FakePlatform::systemTime; }

Velmarosk::Platform::SYSTEMTIME Velmarosk::Platform::GetLocalTime() noexcept { return FakePlatform::localTime; }
