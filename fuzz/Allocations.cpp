#include "fuzz/Allocations.h"

#include <cstdlib>

using namespace VelFuzz;

// AddressSanitizer watches malloc and free below these.

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    if (Allocations::areWatched && ++Allocations::count == Allocations::failing)
        return nullptr;
    return std::malloc(size);
}

void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
