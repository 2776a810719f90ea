// The operations as a host's user needs to know them: what they do, on which types, with which parameters.
// docs/operations.md is the long form; the tests hold both against each other and against the library.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Velreplay {

/// How the value of a parameter is written in a plan, and how it travels to Initialize.
enum class ParameterKind {
    Number,        ///< a double
    Sample,        ///< of the operand's sample type
    Count,         ///< a 32-bit unsigned integer
    Mask,          ///< a 64-bit unsigned integer
    Flag,          ///< true or false; travels as an integer
    PackedSeconds, ///< a Float32 that travels through VelPackFloat32
    Curve,         ///< a list of [x, y]: two doubles for each point
    GearTable,     ///< a list of [ratio, gear]: a file name, behind which the host provides the table
};

struct Parameter {
    std::string_view name;
    ParameterKind kind;
    std::string_view unit;
    /// What is passed when the plan does not say it: a number, "lowest" or "highest" of the sample type; or `required`,
    /// or `omitted`: nothing is passed, or `paired`: it goes with the parameter before it.
    std::string_view otherwise;
    std::string_view meaning;
    double least = -1e308;
    double most = 1e308;
};

inline constexpr std::string_view required = "required";
inline constexpr std::string_view omitted = "omitted";
inline constexpr std::string_view paired = "paired";

struct Operation {
    std::string_view name;
    std::size_t results;
    std::size_t operands;
    /// Patterns of type letters, results first, separated by blanks. Besides the letters of the types:
    /// T any type, V any type, O any type but T, X any type but UInt16, I any integer, R Float32 or Float64,
    /// U and M any unsigned, S and N any signed integer. Places with the same letter have the same type.
    std::string_view patterns;
    std::span<const Parameter> parameters;
    std::string_view summary;
};

/// All operations, in the order of the reference. A name that stands for two operations is there twice, with different
/// numbers of operands.
std::span<const Operation> AllOperations();

/// Those with this name.
std::vector<const Operation*> FindOperations(std::string_view name);

/// All type rows of an operation.
std::vector<std::string> SignaturesOf(const Operation& operation);

/// For people: the results, operands, rows and parameters of an operation.
std::string Describe(const Operation& operation);
std::string DescribeSignatures(const Operation& operation);
std::string DescribeParameters(const Operation& operation);

/// A known name that looks like this one, or an empty text.
std::string_view SimilarName(std::string_view name, std::span<const std::string_view> known);

} // namespace Velreplay
