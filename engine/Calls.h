/// Calls of Create and Initialize with arguments known only at run time, and the pointers that operations read through.
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

/// The pointer through which an operation finds a channel's current sample: a T*, where T is the type that the letter
/// denotes. Code that learns the type only at run time sets it byte by byte, which is allowed for every type.
class SamplePointer {
public:
    explicit SamplePointer(char letter) {
        WithType(letter, [this]<class T>(T) { ::new (bytes.data()) T*(nullptr); });
    }
    /// Null means that there is no sample.
    void Aim(const void* sample) noexcept { std::memcpy(bytes.data(), &sample, sizeof sample); }
    /// The T** that Create takes.
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

/// Initialize. The list may be as long as memory allows: for a long one a temporary thread with a larger stack makes
/// the call.
bool CallInitialize(VelHandle handle, const ArgumentList& parameters);

} // namespace Vel::Engine
