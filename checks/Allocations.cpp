#include "checks/Allocations.h"

#include <cstdlib>

using namespace VelChecks;

// AddressSanitizer watches malloc and free below these.

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    if (Allocations::areWatched && ++Allocations::count == Allocations::failing)
        return nullptr;
    void* const memory = std::malloc(size);
    Allocations::living += memory != nullptr ? 1 : 0;
    return memory;
}

void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    Allocations::living -= memory != nullptr ? 1 : 0;
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }
