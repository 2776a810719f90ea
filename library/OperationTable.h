/// The vocabulary of this library.
#pragma once

#include "core/OperationRows.h"

namespace Velmarosk::Operation {

/// The families of every topic. A name may have several families, in one topic or in several.
OperationTable AllOperations() noexcept;

} // namespace Velmarosk::Operation
