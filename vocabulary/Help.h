/// The vocabulary for people: what an operation takes, and names similar to a misspelt one.
#pragma once

#include "vocabulary/Vocabulary.h"

#include <utility>

namespace Vel {

/// The results, operands, rows and parameters of an operation.
std::string Describe(const Operation& operation);
std::string DescribeSignatures(const Operation& operation);
std::string DescribeParameters(const Operation& operation);
std::string DescribeDefault(const Default& otherwise);

/// A type row as "UInt16, UInt16 -> UInt16".
std::string DescribeRow(std::string_view signature);

/// Whether a type holds all values of another one.
bool Holds(const SampleType& wide, const SampleType& narrow);

/// How much is lost when a channel is cast so that a row fits.
int CostOfCast(char from, char to);

/// The cheapest rows, in ascending order of cost; of equals the first.
std::vector<std::string> Cheapest(std::vector<std::pair<int, std::string>> rows, std::size_t most);

/// The type rows of an operation that are nearest to a signature, the nearest first.
std::vector<std::string> NearestRows(const Operation& operation, std::string_view signature, std::size_t most);

/// A known name that looks like this one, or an empty text.
std::string_view SimilarName(std::string_view name, std::span<const std::string_view> known);

/// An operation's name that looks like this one, or an empty text.
std::string_view SimilarOperation(std::string_view name);

} // namespace Vel
