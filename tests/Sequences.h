/// Tests as tables: an operation, its samples one by one, and what must come out each time. Everything goes through the
/// exports.
///
///     RunSequences({
///         Plain("Divide", "DDD", In({6, 3}, 2), In({6, 0}, refused)),
///         Both("PosEdge", "WD", With(5.0), In({6}, 1), In({7}, 0), restart, In({6}, 1)),
///     });
#pragma once

#include "VelOperation.hpp"

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace Sequences {

/// A place in the source. As a default argument it is the place of the call, so a table's row knows its own line.
struct Place {
    static constexpr Place Here(const char* itsFile = __builtin_FILE(), int itsLine = __builtin_LINE()) {
        return {itsFile, itsLine};
    }
    const char* file;
    int line;
};

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

/// What an Execute must return and do to the result.
struct Expected {
    enum class Result { Value, Marker, Untouched };
    // Implicit, so that tables read as lists of numbers.
    Expected(double number) : value(number) {}
    Expected(bool itReturns, Result itsResult, double number = 0)
        : returned(itReturns), result(itsResult), value(number) {}
    bool returned = true;
    Result result = Result::Value;
    double value;
};
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

/// One action of a sequence, or several. Parameters alone are an Initialize that must be accepted.
struct Step {
    Step(std::function<void(class Rig&)> itsAct) : act(std::move(itsAct)) {}
    Step(std::vector<Step> several);
    Step(Parameters parameters);
    std::function<void(Rig&)> act;
};
Step In(std::initializer_list<Cell> operands, Expected expected, Place place = Place::Here());
/// The same samples a number of times.
Step Times(int count, std::initializer_list<Cell> operands, Expected expected, Place place = Place::Here());
/// Initialize between samples, and what it must return.
Step Init(Parameters parameters, bool expected, Place place = Place::Here());
/// Sets the tick counter, in milliseconds.
Step At(std::uint32_t tickCount);
/// Writes into the result channel before the next Execute, as a host may.
Step ResultHolds(double value);
extern const Step restart; ///< Reset

/// The name of an operation, and the place where it stands.
struct Name {
    Name(const char* itsText, Place itsPlace = Place::Here()) : text(itsText), place(itsPlace) {}
    std::string text;
    Place place;
};

/// An operation by name and type signature, and its steps.
struct Sequence {
    /// The operand channels hold these cells when the operation is created, and not the NoValue of their type: the
    /// lowest signed, the highest unsigned value, or a NaN.
    Sequence& Markers(std::initializer_list<Cell> operands) {
        markers = operands;
        return *this;
    }

    std::vector<bool> forms; ///< NoValue-aware or not
    Name name;
    std::string signature;
    std::vector<Step> steps;
    std::vector<Cell> markers = {};
};
template <class... TSteps>
Sequence Plain(Name name, const char* signature, TSteps... steps) {
    return {{false}, std::move(name), signature, {steps...}};
}
template <class... TSteps>
Sequence Aware(Name name, const char* signature, TSteps... steps) {
    return {{true}, std::move(name), signature, {steps...}};
}
/// For steps that do the same in both forms.
template <class... TSteps>
Sequence Both(Name name, const char* signature, TSteps... steps) {
    return {{false, true}, std::move(name), signature, {steps...}};
}

/// Runs each sequence on its own operations. The result's marker is 77 for every type. A failure names the line of its
/// step and that of its sequence.
void RunSequences(const std::vector<Sequence>& sequences);

} // namespace Sequences
