/// The vocabulary of this library.
#pragma once

#include "core/OperationRows.h"

namespace Velmarosk::Operation {

/// The families of every topic. A name may stand in several families, of one topic or of several.
OperationTable AllOperations() noexcept;

} // namespace Velmarosk::Operation
