/// The vocabulary for people: what an operation takes, and names that look like a misspelt one.
#pragma once

#include "vocabulary/Vocabulary.h"

namespace Vel {

/// The results, operands, rows and parameters of an operation.
std::string Describe(const Operation& operation);
std::string DescribeSignatures(const Operation& operation);
std::string DescribeParameters(const Operation& operation);

/// A known name that looks like this one, or an empty text.
std::string_view SimilarName(std::string_view name, std::span<const std::string_view> known);

/// An operation's name that looks like this one, or an empty text.
std::string_view SimilarOperation(std::string_view name);

} // namespace Vel
