#include "library/BuildText.h"

#include "platform/LibraryAttach.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Velmarosk {

namespace {

constexpr std::string_view prefix = "Beta Build ";
constexpr std::string_view number = "26227";

// Constant initialisation: the attach notification may come before any constructor of this library has run.
constinit std::array<char, prefix.size() + number.size() + 1> buildText{};

} // namespace

const char* Operation::BuildText() noexcept { return buildText.data(); }

bool Platform::OnLibraryAttach(AttachReason reason) noexcept {
    if (reason == AttachReason::ProcessAttach || reason == AttachReason::ThreadAttach)
        std::ranges::copy(number, std::ranges::copy(prefix, buildText.begin()).out);
    return true;
}

} // namespace Velmarosk
