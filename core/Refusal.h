/// Why a creation is refused. What is accepted, the operation table alone says; this explains the rest, by name and
/// type codes only.
#pragma once

#include <optional>
#include <string_view>

namespace Velmarosk::Operation {

/// A message to the host. Its format takes the type name first, where there is one, and the operation name then.
struct Refusal {
    int level;
    const char* format;
    const char* typeName = nullptr;
};

/// Why an operation name with a type signature is refused, for combinations that no row accepts. Nothing for those that
/// are refused in silence.
std::optional<Refusal> ExplainRefusal(std::string_view operationName, std::string_view typeSignature) noexcept;

} // namespace Velmarosk::Operation
