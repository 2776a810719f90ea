/// Tests as tables: an operation, what is fed to it sample by sample, and what must come out each time. Everything goes
/// through the exports.
///
///     RunSequences({
///         {"Divide", "DDD", plain, {In({6, 3}, Is(2)), In({6, 0}, refused)}},
///         {"PosEdge", "WD", aware, With(5.0), {In({6}, Is(1)), In({none}, marker), restart, In({6}, Is(1))}},
///     });
#pragma once

#include "VelOperation.hpp"

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace Sequences {

/// What an operand channel holds.
struct Cell {
    enum class Kind { Value, NoValue, Absent };
    // Implicit, so that tables read as lists of numbers.
    Cell(double number) : value(number) {}
    explicit Cell(Kind itsKind) : kind(itsKind) {}
    Kind kind = Kind::Value;
    double value = 0;
};
inline const Cell none{Cell::Kind::NoValue};
/// The channel's inner pointer is null.
inline const Cell absent{Cell::Kind::Absent};

/// What an Execute must answer and do to the result.
struct Expected {
    bool returned;
    enum class Result { Value, Marker, Untouched } result;
    double value = 0;
};
inline Expected Is(double value) { return {true, Expected::Result::Value, value}; }
/// False, although a value is written.
inline Expected FalseWith(double value) { return {false, Expected::Result::Value, value}; }
inline const Expected kept{true, Expected::Result::Untouched};
inline const Expected refused{false, Expected::Result::Untouched};
inline const Expected marker{false, Expected::Result::Marker};
/// True, with the marker in the result.
inline const Expected trueMarker{true, Expected::Result::Marker};

using Parameters = std::function<bool(Vel::OperationHandle&)>;
template <class... TParameters>
Parameters With(TParameters... parameters) {
    return [=](Vel::OperationHandle& operation) { return operation.Initialize(parameters...); };
}

/// One action of a sequence.
struct Step {
    std::function<void(class Rig&)> act;
};
Step In(std::initializer_list<Cell> operands, Expected expected);
/// The same samples a number of times.
Step Times(int count, std::initializer_list<Cell> operands, Expected expected);
/// Initialize in mid-course, and what it must answer.
Step Init(Parameters parameters, bool expected);
/// Sets the tick counter, in milliseconds.
Step At(std::uint32_t tickCount);
/// Writes into the result channel before the next Execute, as somebody else may.
Step ResultHolds(double value);
extern const Step restart; ///< Reset

enum Form : bool { plain = false, aware = true };

struct Sequence {
    Sequence(const char* operationName, const char* typeSignature, Form itsForm, Parameters parameters,
             std::vector<Step> itsSteps);
    Sequence(const char* operationName, const char* typeSignature, Form itsForm, std::vector<Step> itsSteps)
        : Sequence(operationName, typeSignature, itsForm, Parameters(), std::move(itsSteps)) {}

    /// The operand channels hold these cells when the operation is created, and not the NoValue of their type: the
    /// lowest signed, the highest unsigned value, or a NaN.
    Sequence& Markers(std::initializer_list<Cell> operands);

    std::string name;
    std::string signature;
    Form form;
    std::vector<Step> steps;
    std::vector<Cell> markers;
};

/// Runs each sequence on an operation of its own. The result's marker is 77 for every type.
void RunSequences(const std::vector<Sequence>& sequences);
/// Runs each sequence in both forms, for families whose forms differ in nothing that the sequences show.
void RunInBothForms(std::vector<Sequence> sequences);

} // namespace Sequences
