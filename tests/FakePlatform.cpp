#include "FakePlatform.h"

#include "platform/TickCount.h"

std::uint32_t Velmarosk::Platform::GetTickCount() noexcept {
    ++FakePlatform::tickCountReads;
    return FakePlatform::tickCount;
}
