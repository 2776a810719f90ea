#include "platform/LibraryAttach.h"

namespace {

[[gnu::constructor]] void NotifyProcessAttach() {
    Velmarosk::Platform::OnLibraryAttach(Velmarosk::Platform::AttachReason::ProcessAttach);
}

} // namespace
