/// The notification that the library is loaded into a process.
#pragma once

namespace Velmarosk::Platform {

enum class AttachReason : int { ProcessDetach = 0, ProcessAttach = 1, ThreadAttach = 2, ThreadDetach = 3 };

/// Supplied by the library. This platform calls it once, with ProcessAttach, when it loads the library; it tells of no
/// threads.
bool OnLibraryAttach(AttachReason reason) noexcept;

} // namespace Velmarosk::Platform
