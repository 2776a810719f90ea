#include "library/BuildText.h"

#include "platform/LibraryAttach.h"

namespace Velmarosk {

namespace {

// Constant initialisation: the attach notification may come before this library's constructors run.
constinit const char* buildText = "";

} // namespace

const char* Operation::BuildText() noexcept { return buildText; }

bool Platform::OnLibraryAttach(AttachReason reason) noexcept {
    if (reason == AttachReason::ProcessAttach || reason == AttachReason::ThreadAttach)
        buildText = "Beta Build 26227";
    return true;
}

} // namespace Velmarosk
