/// The operations of the library as data: their types and parameters, and the traits in which they differ.
/// docs/operations.md is the long form. The tests compare the library, this table and that page with one another.
#pragma once

#include "vocabulary/SampleTypes.h"

#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Vel {

/// How the value of a parameter is passed to Initialize.
enum class ParameterKind {
    Number,        ///< a double
    Sample,        ///< of the sample type of the last operand
    Count,         ///< a 32-bit unsigned integer
    Mask,          ///< a 64-bit unsigned integer
    Flag,          ///< true or false, as an integer
    PackedSeconds, ///< a Float32, through VelPackFloat32
    Curve,         ///< pairs of x and y: two doubles for each point
    GearTable,     ///< pairs of ratio and gear: the name of a file, from which the library reads them
};

/// What Initialize gets for a parameter that is not given.
struct Default {
    enum class Kind {
        Required, ///< it must be given
        Omitted,  ///< nothing: the list ends before it
        Paired,   ///< it is given if and only if the parameter before it is
        Number,
        Lowest,  ///< of the sample type
        Highest, ///< of the sample type
    };
    constexpr Default(Kind itsKind) : kind(itsKind) {} // NOLINT(google-explicit-constructor): tables read better
    constexpr Default(double itsNumber)
        : kind(Kind::Number), number(itsNumber) {} // NOLINT(google-explicit-constructor)

    Kind kind;
    double number = 0; ///< of the kind Number; a value of the parameter's type
};

inline constexpr Default required = Default::Kind::Required;
inline constexpr Default omitted = Default::Kind::Omitted;
inline constexpr Default paired = Default::Kind::Paired;
inline constexpr Default lowest = Default::Kind::Lowest;
inline constexpr Default highest = Default::Kind::Highest;

/// The numbers that make sense, which may be fewer than those that the library takes, and how they depend on earlier
/// parameters.
struct Range {
    double least = -std::numeric_limits<double>::max();
    double most = std::numeric_limits<double>::max();
    bool excludesZero = false;
    bool hasBitsOfType = false;      ///< of the operand's type; a mask must not have others
    std::string_view notBelow = {};  ///< a parameter; this one must not be below it
    std::string_view above = {};     ///< a parameter; this one must be above it
    std::string_view belowHalf = {}; ///< a parameter; this one must be below half of it
    bool isForPlainOnly = false;     ///< it has no effect in the NoValue-aware form
};

struct Parameter {
    std::string_view name;
    ParameterKind kind;
    std::string_view unit;
    Default otherwise;
    std::string_view meaning;
    Range range = {};
    bool isRowTime = false; ///< the time from row to row, or the number of rows in a unit of time
};

/// What the NoValue-aware form of an operation does when an operand has no sample.
enum class Twin {
    Refuses, ///< standard: the results become NoValue, the state stays
    Ignores, ///< none: both forms are the same
    // The others are special.
    Restarts,     ///< the results become NoValue, and the state is reset
    Decides,      ///< refuses, or computes where the missing sample does not matter
    TakesForZero, ///< computes with 0 in its place
    Repeats,      ///< shows the last results of the plain form, or NoValue
    ShowsAnother, ///< shows an extreme that is no result of the plain form
    OnlyAware,    ///< only this form computes at all
    OnlyPlain,    ///< only the plain form computes at all
};

/// What may surprise a user in the row of a missing sample, or in later ones.
enum class Surprise {
    None,
    LosesTotal, ///< the total starts again from 0
    LosesState, ///< the result has no value until it next changes
    MakesValue, ///< a value comes out of the missing sample
};

/// Where operations differ.
struct Traits {
    Twin twin = Twin::Refuses;
    Surprise surprise = Surprise::None;
    std::string_view ignoringRow = {}; ///< a type row whose two forms are the same although those of the others differ
    bool usesMathLibrary = false;      ///< the last bits of its results depend on the C library's mathematics
    bool readsClock = false;           ///< it reads the system's clock
    bool divides = false;              ///< the processor may fault on the lowest integer by -1
    bool endsWithTime = false;         ///< its last operand is a time channel
    bool writesOperand = false;        ///< it puts another sample into its operand's channel
};

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
    Traits traits = {};
};

/// All operations, in the order of the reference. A name that stands for two operations is there twice, with different
/// numbers of operands.
std::span<const Operation> AllOperations();

/// The operations with this name.
std::span<const Operation* const> FindOperations(std::string_view name);

/// All type rows of an operation.
std::vector<std::string> SignaturesOf(const Operation& operation);

/// Whether a signature is one of the type rows.
bool Accepts(const Operation& operation, std::string_view signature);

/// A type that nothing has fixed yet: of a number, or of a result that nobody asks for.
inline constexpr char openType = '?';

/// The type row of an operation with one result that fits these operands; empty if none does. A letter that nothing
/// fixes becomes Float64. Of several rows: the one whose result follows from the operands, or else is Float64.
std::string FitRow(const Operation& operation, char result, std::string_view operands);

/// The twin of one type row.
Twin TwinOf(const Operation& operation, std::string_view signature);

} // namespace Vel
