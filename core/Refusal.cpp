#include "core/Refusal.h"

#include "core/SampleTypes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace Velmarosk::Operation {

namespace {

using Names = std::span<const std::string_view>;
using Outcome = std::optional<Refusal>;

constexpr Outcome accepted = std::nullopt;
constexpr Outcome silent = std::nullopt;

// The names of each row. They are part of the refusals and so stand here apart from the operation table.

constexpr std::array<std::string_view, 8> unaryIntegerNames{"Assignment", "BitwiseNot", "GetOldValue", "GetOldValueN",
                                                            "Min",        "Max",        "Average",     "MaskAndShift"};
constexpr std::array<std::string_view, 13> unaryUInt16Names{
    "LogicalNot", "IsTic",        "StartOnlyTrigger", "StopOnlyTrigger", "StartNotStopTriggerPuls",
    "Valid",      "NoValueAlarm", "PosEdge",          "NegEdge",         "TestMask",
    "TFF",        "MonoFlop",     "IsNoValue"};
constexpr std::array<std::string_view, 3> clockComponentNames{"Hour", "Minute", "Second"};
constexpr std::array<std::string_view, 37> unaryFloatNames{"Assignment",
                                                           "GetOldValue",
                                                           "GetOldValueN",
                                                           "Negate",
                                                           "Abs",
                                                           "Sin",
                                                           "Cos",
                                                           "Tan",
                                                           "ArcSin",
                                                           "ArcCos",
                                                           "ArcTan",
                                                           "Sinh",
                                                           "Cosh",
                                                           "Tanh",
                                                           "Exp",
                                                           "Ln",
                                                           "Log",
                                                           "Sqrt",
                                                           "Power10",
                                                           "Floor",
                                                           "Ceil",
                                                           "Sign",
                                                           "Round",
                                                           "Min",
                                                           "Max",
                                                           "Average",
                                                           "Integral",
                                                           "IntegralAdd",
                                                           "UpperIntegral",
                                                           "Differential",
                                                           "Hour",
                                                           "Minute",
                                                           "Second",
                                                           "FilterButterworthHighPass",
                                                           "FilterButterworthLowPass",
                                                           "FilterButterworthBandPass",
                                                           "FilterButterworthBandStop"};
constexpr std::array<std::string_view, 9> unaryBooleanOfIntegerNames{
    "IsTic", "Valid", "NoValueAlarm", "PosEdge", "NegEdge", "TestMask", "TFF", "MonoFlop", "IsNoValue"};
constexpr std::array<std::string_view, 7> unaryBooleanOfFloatNames{"Valid", "NoValueAlarm", "PosEdge",  "NegEdge",
                                                                   "TFF",   "MonoFlop",     "IsNoValue"};
constexpr std::array<std::string_view, 17> binaryIntegerNames{
    "Plus",       "Minus",      "Multiply",   "Divide",
    "Modulo",     "LogicalAnd", "BitwiseAnd", "LogicalOr",
    "LogicalXOr", "BitwiseOr",  "BitwiseXOr", "BitwiseShiftLeft",
    "Min",        "Max",        "Valid",      "BitwiseShiftRight",
    "DFF"};
constexpr std::array<std::string_view, 11> binaryUInt16Names{
    "Equal",   "Unequal", "GreaterThan", "LessThan",         "GreaterThanOrEqual", "LessThanOrEqual",
    "Timeout", "TestBit", "TestMask",    "StartStopTrigger", "StartNotStopTrigger"};
constexpr std::array<std::string_view, 17> binaryFloatNames{
    "Plus",  "Minus",    "Multiply",    "Divide",        "Modulo",       "Min",      "Max",   "Valid", "DFF",
    "Power", "Integral", "IntegralAdd", "UpperIntegral", "Differential", "MonoFlop", "Angle", "Radius"};
constexpr std::array<std::string_view, 9> binaryBooleanOfIntegerNames{
    "Equal",           "Unequal", "GreaterThan", "LessThan", "GreaterThanOrEqual",
    "LessThanOrEqual", "Timeout", "TestBit",     "TestMask"};
constexpr std::array<std::string_view, 8> binaryBooleanOfFloatNames{
    "Equal", "Unequal", "GreaterThan", "LessThan", "GreaterThanOrEqual", "LessThanOrEqual", "Timeout", "IsNoValue"};

// Texts that more than one test uses.

constexpr const char* unaryOperation = "Unknown or unsupported unary operation %s";
constexpr const char* unaryDatatype = "Unknown or unsupported datatype for unary operation %s";
constexpr const char* binaryDatatype = "Unknown or unsupported datatype for binary operation %s";
constexpr const char* differentDatatypes = "Different datatypes for binary operation %s";
constexpr const char* binaryOperation = "Unknown binary operation %s";
constexpr const char* ternaryDatatype = "Unknown or unsupported datatype for ternary operation %s";
constexpr const char* ternaryOperation = "Unknown or unsupported ternary operation %s";
/// Intended as it stands: the placeholder is never filled in.
constexpr const char* unexpandedName = "Unknown or unsupported datatype for ##name operation\n";

bool IsOneOf(std::string_view name, Names names) noexcept { return std::ranges::find(names, name) != names.end(); }

constexpr bool IsSampleType(int code) noexcept { return code >= codeUInt8 && code <= codeFloat64; }
constexpr bool IsUnsigned(int code) noexcept { return code >= codeUInt8 && code <= codeUInt64; }
constexpr bool IsSigned(int code) noexcept { return code >= codeSInt8 && code <= codeSInt64; }
constexpr bool IsFloat(int code) noexcept { return code == codeFloat32 || code == codeFloat64; }

constexpr const char* TypeName(int code) noexcept {
    constexpr std::array<const char*, 11> names{"",       "UInt8",  "UInt16", "UInt32",  "UInt64", "SInt8",
                                                "SInt16", "SInt32", "SInt64", "Float32", "Float64"};
    return names[static_cast<std::size_t>(code)];
}

/// The type codes of a signature. Reading behind its end gives codeUnknown.
class Codes {
public:
    explicit constexpr Codes(std::string_view typeSignature) noexcept : letters(typeSignature) {}

    constexpr std::size_t OperandCount() const noexcept { return letters.size() - 1; }
    constexpr int Result() const noexcept { return TypeCodeFromLetter(letters.front()); }
    /// Operands count from 1.
    constexpr int Operand(std::size_t number) const noexcept { return TypeCodeFromLetter(letters[number]); }
    /// Whether the operands from one number to another are all of one type.
    constexpr bool AreAll(int code, std::size_t first, std::size_t last) const noexcept {
        for (std::size_t number = first; number <= last; ++number) {
            if (Operand(number) != code)
                return false;
        }
        return true;
    }

private:
    std::string_view letters;
};

// The operations with a test of their own.

constexpr Refusal wrongNumber{2, "Wrong number of parameters for operation %s "};
constexpr Refusal wrongTypes{2, "Wrong parametertypes for operation %s "};

Outcome AcceptIf(bool typesFit) noexcept { return typesFit ? accepted : wrongTypes; }

/// The type of the first operand is intentionally not looked at.
Outcome ExplainGear(const Codes& codes) noexcept {
    if (codes.OperandCount() != 3)
        return wrongNumber;
    return AcceptIf(codes.Result() == codeSInt8 && codes.AreAll(codeUInt16, 2, 3));
}

Outcome ExplainLimit(const Codes& codes) noexcept {
    const std::size_t count = codes.OperandCount();
    if (count != 2 && count != 3)
        return wrongNumber;
    const int value = codes.Operand(1);
    return AcceptIf(codes.Result() == codeUInt16 && IsFloat(value) && codes.AreAll(value, 2, count));
}

Outcome ExplainCurve(const Codes& codes) noexcept {
    if (codes.OperandCount() != 1)
        return wrongNumber;
    return AcceptIf(IsFloat(codes.Result()) && codes.Operand(1) == codes.Result());
}

Outcome ExplainExtract8Bits(const Codes& codes) noexcept {
    if (codes.OperandCount() != 8)
        return wrongNumber;
    return AcceptIf(codes.Result() == codeUInt16 && codes.AreAll(codeUInt16, 1, 7) && codes.Operand(8) == codeUInt8);
}

Outcome ExplainExtract16Bits(const Codes& codes) noexcept {
    if (codes.OperandCount() != 16)
        return wrongNumber;
    return AcceptIf(codes.Result() == codeUInt16 && codes.AreAll(codeUInt16, 1, 16));
}

Outcome ExplainStatistics(const Codes& codes) noexcept {
    if (codes.OperandCount() != 3)
        return wrongNumber;
    if (!codes.AreAll(codes.Result(), 1, 3))
        return wrongTypes;
    if (!IsSampleType(codes.Result()))
        return Refusal{4, "Unknown or unsupported datatype for operation %s "};
    return accepted;
}

struct NamedOperation {
    std::string_view name;
    Outcome (*explain)(const Codes&) noexcept;
};

constexpr std::array<NamedOperation, 8> namedOperations{{{"Gangermittlung", ExplainGear},
                                                         {"UpperLimit", ExplainLimit},
                                                         {"LowerLimit", ExplainLimit},
                                                         {"Linea", ExplainCurve},
                                                         {"VLinea", ExplainCurve},
                                                         {"Extract8Bits", ExplainExtract8Bits},
                                                         {"Extract16Bits", ExplainExtract16Bits},
                                                         {"Statistics", ExplainStatistics}}};

// No operand: the clock sources.

Outcome ExplainClockSource(std::string_view name, int result) noexcept {
    const bool typeFits = IsFloat(result) || result == codeUInt64;
    if (name == "SystemTime")
        return typeFits ? accepted : Refusal{4, "Unknown or unsupported result datatype for SystemTime operation"};
    if (name == "LocalTime")
        return typeFits ? accepted : Refusal{4, "Unknown or unsupported result datatype for LocalTime operation"};
    return Refusal{4, "Unknown or unsupported const operation"};
}

// One operand.

Outcome ExplainUnaryOfFloat(std::string_view name, int result, int operand) noexcept {
    if (name == "PhysToFloat")
        return IsSampleType(operand) ? accepted : Refusal{4, unexpandedName};
    if (operand == result)
        return IsOneOf(name, unaryFloatNames) ? accepted : Refusal{4, unaryOperation};
    if (name == "Cast")
        return IsSampleType(operand) ? accepted : Refusal{4, unexpandedName};
    if (name == "MaskAndShift")
        return Refusal{4, "Unknown or unsupported result datatype for MaskAndShift operation"};
    if (operand != codeUInt16)
        return Refusal{4, unaryOperation};
    if (name == "Time")
        return accepted;
    return Refusal{4, "Unknown or unsupported unary operation %s with operand type UInt16"};
}

Outcome ExplainUnaryAlike(std::string_view name, int code) noexcept {
    if (!IsSampleType(code))
        return Refusal{4, unaryDatatype};
    if (IsOneOf(name, unaryIntegerNames))
        return accepted;
    if (code == codeUInt16 && IsOneOf(name, unaryUInt16Names))
        return accepted;
    if (code == codeUInt64 && IsOneOf(name, clockComponentNames))
        return accepted;
    if (code == codeUInt8)
        return Refusal{4, "Unknown or unsupported UInt8 unary operation %s"};
    return Refusal{4, unaryOperation};
}

Outcome ExplainUnaryOfDifferentTypes(std::string_view name, int result, int operand) noexcept {
    if (name == "Cast") {
        if (!IsSampleType(result))
            return Refusal{4, "Unknown or unsupported result datatype for cast operation"};
        return IsSampleType(operand) ? accepted : Refusal{4, unexpandedName};
    }
    if (name == "MaskAndShift") {
        if (!IsSampleType(result))
            return Refusal{4, "Unknown or unsupported result datatype for MaskAndShift operation"};
        const bool alikeSigned = (IsUnsigned(result) && IsUnsigned(operand)) || (IsSigned(result) && IsSigned(operand));
        return alikeSigned ? accepted : Refusal{4, unexpandedName};
    }
    if (result == codeUInt16) {
        if (!IsSampleType(operand))
            return Refusal{4, unaryDatatype};
        const bool known =
            IsFloat(operand) ? IsOneOf(name, unaryBooleanOfFloatNames) : IsOneOf(name, unaryBooleanOfIntegerNames);
        return known ? accepted : Refusal{4, "Unknown or unsupported unary operation %s with result type UInt16"};
    }
    if (operand == codeUInt16)
        return Refusal{4, unaryDatatype};
    return Refusal{4, unaryOperation};
}

Outcome ExplainUnary(std::string_view name, int result, int operand) noexcept {
    if (IsFloat(result))
        return ExplainUnaryOfFloat(name, result, operand);
    if (operand == result)
        return ExplainUnaryAlike(name, result);
    return ExplainUnaryOfDifferentTypes(name, result, operand);
}

// Two operands.

Outcome ExplainBinaryAlike(std::string_view name, int code) noexcept {
    if (!IsSampleType(code))
        return Refusal{4, "Unknown or unsupported datatype for binary operation"};
    if (IsFloat(code) ? IsOneOf(name, binaryFloatNames) : IsOneOf(name, binaryIntegerNames))
        return accepted;
    if (code == codeUInt16 && IsOneOf(name, binaryUInt16Names))
        return accepted;
    return Refusal{4, "Unknown or unsupported %s binary operation %s", TypeName(code)};
}

Outcome ExplainBinaryBoolean(std::string_view name, int operand1, int operand2) noexcept {
    if (operand1 == operand2) {
        if (!IsSampleType(operand1))
            return Refusal{4, "Unknown or unsupported datatype for binary operation %s with boolean result"};
        const bool known =
            IsFloat(operand1) ? IsOneOf(name, binaryBooleanOfFloatNames) : IsOneOf(name, binaryBooleanOfIntegerNames);
        return known ? accepted
                     : Refusal{4, "Unknown or unsupported %s binary operation %s with boolean result",
                               TypeName(operand1)};
    }
    if (operand2 != codeUInt16)
        return Refusal{4, differentDatatypes};
    if (name != "DFF")
        return Refusal{4, binaryOperation};
    return IsSampleType(operand1) ? accepted : Refusal{4, unexpandedName};
}

/// Neither the result nor the first operand is a UInt16, and they differ.
Outcome ExplainBinaryClocked(std::string_view name, int result, int operand1, int operand2) noexcept {
    if (operand2 != result)
        return Refusal{4, differentDatatypes};
    if (name != "DFF")
        return Refusal{4, binaryOperation};
    if (!IsSampleType(result))
        return Refusal{4, binaryDatatype};
    return IsSampleType(operand1) ? accepted : Refusal{4, unexpandedName};
}

/// The first operand is a UInt16, the result is not.
Outcome ExplainBinaryOfBoolean(std::string_view name, int result, int operand2) noexcept {
    if (operand2 == result) {
        if (!IsFloat(result))
            return Refusal{4, "Unknown or unsupported datatype for binary operation %s with boolean operand1"};
        if (name == "Time")
            return accepted;
        return Refusal{4, "Unknown or unsupported %s binary operation %s with boolean operand1", TypeName(result)};
    }
    if (operand2 != codeUInt16)
        return Refusal{4, differentDatatypes};
    if (IsFloat(result) && (name == "TimeDiff" || name == "Count"))
        return accepted;
    return Refusal{8, binaryDatatype};
}

Outcome ExplainBinary(std::string_view name, int result, int operand1, int operand2) noexcept {
    if (result == operand1)
        return operand1 == operand2 ? ExplainBinaryAlike(name, result) : Refusal{4, differentDatatypes};
    if (result == codeUInt16)
        return ExplainBinaryBoolean(name, operand1, operand2);
    if (operand1 != codeUInt16)
        return ExplainBinaryClocked(name, result, operand1, operand2);
    return ExplainBinaryOfBoolean(name, result, operand2);
}

// Three operands.

Outcome ExplainTernary(std::string_view name, const Codes& codes) noexcept {
    const int result = codes.Result();
    const int operand1 = codes.Operand(1);
    const int operand2 = codes.Operand(2);
    const int operand3 = codes.Operand(3);
    if (name == "If" && operand1 == codeUInt16 && operand2 == result && operand3 == result)
        return IsSampleType(result) ? accepted : silent;
    if (name == "TimeDiff") {
        const bool typesFit = operand1 == codeUInt16 && operand2 == codeUInt16 && operand3 == result && IsFloat(result);
        return typesFit ? accepted : Refusal{8, ternaryDatatype};
    }
    if (name == "Timeout") {
        const bool typesFit =
            result == codeUInt16 && operand2 == operand3 && IsFloat(operand2) && IsSampleType(operand1);
        return typesFit ? accepted : Refusal{8, ternaryDatatype};
    }
    return Refusal{8, ternaryOperation};
}

} // namespace

std::optional<Refusal> ExplainRefusal(std::string_view operationName, std::string_view typeSignature) noexcept {
    if (typeSignature.empty())
        return Refusal{2, "Too less parameter (0) for operation %s\n"};

    const Codes codes(typeSignature);
    for (const NamedOperation& named : namedOperations) {
        if (named.name == operationName)
            return named.explain(codes);
    }
    switch (codes.OperandCount()) {
    case 0:
        return ExplainClockSource(operationName, codes.Result());
    case 1:
        return ExplainUnary(operationName, codes.Result(), codes.Operand(1));
    case 2:
        return ExplainBinary(operationName, codes.Result(), codes.Operand(1), codes.Operand(2));
    case 3:
        return ExplainTernary(operationName, codes);
    default:
        return silent;
    }
}

} // namespace Velmarosk::Operation
