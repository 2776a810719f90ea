/// The text that tells one build of the library from another.
#pragma once

namespace Velmarosk::Operation {

/// "Beta Build 26227" once the library is attached to the process, empty before. The text is never freed.
const char* BuildText() noexcept;

} // namespace Velmarosk::Operation
