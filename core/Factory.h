/// What Create does: finds the row for a name and a type signature, or reports why there is none.
#pragma once

#include "core/OperationRows.h"

#include <cstdarg>
#include <string_view>

namespace Velmarosk::Operation {

/// The row that accepts a type signature under a name, or null.
const TypeRow* FindRow(OperationTable table, std::string_view operationName, std::string_view typeSignature) noexcept;

/// Builds an operation on the references of the list, one for each letter of the signature. Null if the combination is
/// refused; then the list is not read. Throws std::bad_alloc when memory runs out.
COperation* CreateOperation(OperationTable table, bool noValueAware, const char* operationName,
                            const char* typeSignature, std::va_list& references);

} // namespace Velmarosk::Operation
