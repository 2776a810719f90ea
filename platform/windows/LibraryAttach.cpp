#include "platform/LibraryAttach.h"

#include <windows.h>

/// The system's notification.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*library*/, DWORD reason, LPVOID /*reserved*/) {
    using namespace Velmarosk::Platform;
    return OnLibraryAttach(static_cast<AttachReason>(reason));
}
