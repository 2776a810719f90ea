// Calls of Create and Initialize whose arguments are known at run time only.
#pragma once

#include <VelOperation.h>

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace Velreplay {

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

/// Create. Each argument is the address of the pointer to a channel's current sample.
VelHandle CallCreate(bool noValueAware, const std::string& operation, const ArgumentList& references);

/// Initialize.
bool CallInitialize(VelHandle handle, const ArgumentList& parameters);

} // namespace Velreplay
