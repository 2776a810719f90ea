#include "core/Refusal.h"

#include "core/SampleTypes.h"

#include <array>
#include <cstddef>

namespace Velmarosk::Operation {

namespace {

// Texts that more than one test uses.

constexpr NameFormat<false> unaryOperation = "Unknown or unsupported unary operation %s";
constexpr NameFormat<false> unaryDatatype = "Unknown or unsupported datatype for unary operation %s";
constexpr NameFormat<false> maskResult = "Unknown or unsupported result datatype for MaskAndShift operation";
constexpr NameFormat<false> binaryOperation = "Unknown binary operation %s";
constexpr NameFormat<false> binaryDatatype = "Unknown or unsupported datatype for binary operation %s";
constexpr NameFormat<false> differentDatatypes = "Different datatypes for binary operation %s";
/// The placeholder is never filled in: the host gets "##name".
constexpr NameFormat<false> unexpandedName = "Unknown or unsupported datatype for ##name operation\n";

constexpr bool IsSampleType(int code) noexcept { return code >= codeUInt8 && code <= codeFloat64; }
constexpr bool IsFloat(int code) noexcept { return code == codeFloat32 || code == codeFloat64; }

constexpr const char* NameOf(int code) noexcept { return typesByCode[static_cast<std::size_t>(code)].name; }

/// An operation that is tested by its name before the operand count and the types decide.
struct NamedOperation {
    std::string_view name;
    std::size_t minOperands;
    std::size_t maxOperands;
};
constexpr std::array<NamedOperation, 8> namedOperations{{{"Gangermittlung", 3, 3},
                                                         {"UpperLimit", 2, 3},
                                                         {"LowerLimit", 2, 3},
                                                         {"Linea", 1, 1},
                                                         {"VLinea", 1, 1},
                                                         {"Extract8Bits", 8, 8},
                                                         {"Extract16Bits", 16, 16},
                                                         {"Statistics", 3, 3}}};

/// Whether all letters have the same type code.
bool AreAlike(std::string_view typeSignature) noexcept {
    for (const char letter : typeSignature) {
        if (TypeCodeFromLetter(letter) != TypeCodeFromLetter(typeSignature.front()))
            return false;
    }
    return true;
}

Refusal ExplainNamed(const NamedOperation& operation, std::string_view typeSignature) noexcept {
    const std::size_t operands = typeSignature.size() - 1;
    if (operands < operation.minOperands || operands > operation.maxOperands)
        return {2, "Wrong number of parameters for operation %s "};
    if (operation.name == "Statistics" && AreAlike(typeSignature))
        return {4, "Unknown or unsupported datatype for operation %s "};
    return {2, "Wrong parametertypes for operation %s "};
}

Refusal ExplainClockSource(std::string_view name) noexcept {
    if (name == "SystemTime")
        return {4, "Unknown or unsupported result datatype for SystemTime operation"};
    if (name == "LocalTime")
        return {4, "Unknown or unsupported result datatype for LocalTime operation"};
    return {4, "Unknown or unsupported const operation"};
}

Refusal ExplainUnaryOfFloat(std::string_view name, int result, int operand) noexcept {
    if (name == "PhysToFloat")
        return {4, unexpandedName};
    if (operand == result)
        return {4, unaryOperation};
    if (name == "Cast")
        return {4, unexpandedName};
    if (name == "MaskAndShift")
        return {4, maskResult};
    if (operand == codeUInt16)
        return {4, "Unknown or unsupported unary operation %s with operand type UInt16"};
    return {4, unaryOperation};
}

Refusal ExplainUnary(std::string_view name, int result, int operand) noexcept {
    if (IsFloat(result))
        return ExplainUnaryOfFloat(name, result, operand);
    if (operand == result) {
        if (!IsSampleType(result))
            return {4, unaryDatatype};
        // Only this type has its own text here.
        return {4, result == codeUInt8 ? NameFormat<false>("Unknown or unsupported UInt8 unary operation %s")
                                       : unaryOperation};
    }
    if (name == "Cast")
        return {4, IsSampleType(result)
                       ? unexpandedName
                       : NameFormat<false>("Unknown or unsupported result datatype for cast operation")};
    if (name == "MaskAndShift")
        return {4, IsSampleType(result) ? unexpandedName : maskResult};
    if (result == codeUInt16 && IsSampleType(operand))
        return {4, "Unknown or unsupported unary operation %s with result type UInt16"};
    return {4, result == codeUInt16 || operand == codeUInt16 ? unaryDatatype : unaryOperation};
}

/// For a boolean result whose first operand is no UInt16.
Refusal ExplainBinaryBoolean(std::string_view name, int operand1, int operand2) noexcept {
    if (operand1 == operand2) {
        if (!IsSampleType(operand1))
            return {4, "Unknown or unsupported datatype for binary operation %s with boolean result"};
        return {4, "Unknown or unsupported %s binary operation %s with boolean result", NameOf(operand1)};
    }
    if (operand2 != codeUInt16)
        return {4, differentDatatypes};
    return {4, name == "DFF" ? unexpandedName : binaryOperation};
}

/// Neither the result nor the first operand is a UInt16, and they differ.
Refusal ExplainBinaryClocked(std::string_view name, int result, int operand2) noexcept {
    if (operand2 != result)
        return {4, differentDatatypes};
    if (name != "DFF")
        return {4, binaryOperation};
    return {4, IsSampleType(result) ? unexpandedName : binaryDatatype};
}

/// The first operand is a UInt16, the result is not.
Refusal ExplainBinaryOfBoolean(int result, int operand2) noexcept {
    if (operand2 == result) {
        if (!IsFloat(result))
            return {4, "Unknown or unsupported datatype for binary operation %s with boolean operand1"};
        return {4, "Unknown or unsupported %s binary operation %s with boolean operand1", NameOf(result)};
    }
    if (operand2 == codeUInt16)
        return {8, binaryDatatype};
    return {4, differentDatatypes};
}

Refusal ExplainBinary(std::string_view name, int result, int operand1, int operand2) noexcept {
    if (result == operand1) {
        if (operand1 != operand2)
            return {4, differentDatatypes};
        if (!IsSampleType(result))
            return {4, "Unknown or unsupported datatype for binary operation"};
        return {4, "Unknown or unsupported %s binary operation %s", NameOf(result)};
    }
    if (result == codeUInt16)
        return ExplainBinaryBoolean(name, operand1, operand2);
    if (operand1 == codeUInt16)
        return ExplainBinaryOfBoolean(result, operand2);
    return ExplainBinaryClocked(name, result, operand2);
}

std::optional<Refusal> ExplainTernary(std::string_view name, int result, int operand1, int operand2,
                                      int operand3) noexcept {
    if (name == "If" && operand1 == codeUInt16 && operand2 == result && operand3 == result)
        return std::nullopt;
    if (name == "TimeDiff" || name == "Timeout")
        return Refusal{8, "Unknown or unsupported datatype for ternary operation %s"};
    return Refusal{8, "Unknown or unsupported ternary operation %s"};
}

} // namespace

std::optional<Refusal> ExplainRefusal(std::string_view operationName, std::string_view typeSignature) noexcept {
    if (typeSignature.empty())
        return Refusal{2, "Too less parameter (0) for operation %s\n"};
    for (const NamedOperation& operation : namedOperations) {
        if (operation.name == operationName)
            return ExplainNamed(operation, typeSignature);
    }

    const auto code = [typeSignature](std::size_t place) { return TypeCodeFromLetter(typeSignature[place]); };
    switch (typeSignature.size()) {
    case 1:
        return ExplainClockSource(operationName);
    case 2:
        return ExplainUnary(operationName, code(0), code(1));
    case 3:
        return ExplainBinary(operationName, code(0), code(1), code(2));
    case 4:
        return ExplainTernary(operationName, code(0), code(1), code(2), code(3));
    default:
        return std::nullopt;
    }
}

} // namespace Velmarosk::Operation
