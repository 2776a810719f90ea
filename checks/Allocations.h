/// The heap of the process, for programs that link Allocations.cpp: it counts allocations and fails on demand.
#pragma once

#include <cstddef>
#include <new>

namespace VelChecks {

/// What a call did.
struct Outcome {
    bool answer = false;
    bool isOutOfMemory = false; ///< it threw std::bad_alloc
    std::size_t allocations = 0;
};

namespace Allocations {

inline bool areWatched = false;
inline std::size_t count = 0;     ///< while they are watched
inline std::size_t failing = 0;   ///< the one of them that fails; 0 for none
inline std::ptrdiff_t living = 0; ///< watched or not

} // namespace Allocations

/// Calls a function that returns true or false. Its n-th allocation fails, none if n is 0.
template <class TFunction>
Outcome Watch(std::size_t failing, TFunction function) {
    Outcome outcome;
    Allocations::count = 0;
    Allocations::failing = failing;
    Allocations::areWatched = true;
    try {
        outcome.answer = function();
    } catch (const std::bad_alloc&) {
        outcome.isOutOfMemory = true;
    }
    Allocations::areWatched = false;
    outcome.allocations = Allocations::count;
    return outcome;
}

} // namespace VelChecks
