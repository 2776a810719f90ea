/// Calls of Create and Initialize whose arguments are known at run time only, and the pointers that operations follow.
#pragma once

#include "vocabulary/SampleTypes.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <variant>
#include <vector>

namespace Vel::Engine {

/// The pointer to a channel's current sample that an operation follows: a T* for the type T of a letter. Code that
/// learns the type at run time moves it byte by byte, which is allowed whatever the type.
class SamplePointer {
public:
    explicit SamplePointer(char letter) {
        WithType(letter, [this]<class T>(T) { ::new (bytes.data()) T*(nullptr); });
    }
    /// Null: there is no sample.
    void Aim(const void* sample) noexcept { std::memcpy(bytes.data(), &sample, sizeof sample); }
    /// What Create takes: the T** of the operation.
    const void* Reference() const noexcept { return bytes.data(); }

private:
    alignas(void*) std::array<std::byte, sizeof(void*)> bytes;
};

/// A variable argument as C passes it: floating values as double, integers as int, unsigned or their long long forms.
using Argument = std::variant<double, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t, const void*>;

/// A signature and one argument for each of its letters.
struct ArgumentList {
    std::string signature;
    std::vector<Argument> arguments;

    void Add(char letter, Argument argument) {
        signature += letter;
        arguments.push_back(argument);
    }
};

/// Create. Each argument is the Reference() of a SamplePointer.
VelHandle CallCreate(bool noValueAware, const std::string& operation, const ArgumentList& references);

/// Initialize. The list may be as long as memory allows: a long one is passed on a stack of its own, by a thread that
/// lives for the time of the call.
bool CallInitialize(VelHandle handle, const ArgumentList& parameters);

} // namespace Vel::Engine
