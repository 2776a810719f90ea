/// The notification that the library is loaded into a process.
#pragma once

namespace Velmarosk::Platform {

enum class AttachReason : int { ProcessDetach = 0, ProcessAttach = 1, ThreadAttach = 2, ThreadDetach = 3 };

/// The library supplies it. Linux calls it once, with ProcessAttach, when it loads the library. Windows calls it for
/// every reason.
bool OnLibraryAttach(AttachReason reason) noexcept;

} // namespace Velmarosk::Platform
