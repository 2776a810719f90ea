#include "logic/GearDetermination.h"

namespace Velmarosk::Operation {

CGangermittlung::CGangermittlung(const References& references) noexcept
    : resultRef(references.At<SInt8>(0)),
      operand1Ref(references.LocationAt(1), references.Letter(1)),
      operand2Ref(references.At<UInt16>(2)),
      operand3Ref(references.At<UInt16>(3)),
      resultNoValue(resultRef.Read()) {
    // Every operand sets the first flag. So only operand 1 is ever tested, and if it has no marker but another operand
    // has one, it is tested against 0.
    CaptureNoValue(operand1Ref, hasOperand1NoValue, operand1NoValue);
    CaptureNoValue(operand2Ref, hasOperand1NoValue, operand2NoValue);
    CaptureNoValue(operand3Ref, hasOperand1NoValue, operand3NoValue);
}

bool CGangermittlung::CheckNoValue() {
    if (!HoldsNoValue(operand1Ref, hasOperand1NoValue, operand1NoValue) &&
        !HoldsNoValue(operand2Ref, hasOperand2NoValue, operand2NoValue) &&
        !HoldsNoValue(operand3Ref, hasOperand3NoValue, operand3NoValue))
        return true;
    resultRef.Write(resultNoValue);
    return false;
}

bool CGangermittlung::Execute() {
    if (operand1Ref.Read() == 0)
        return false;
    const UInt16 divisor = operand2Ref.Read();
    if (divisor == 0)
        return false;
    const Float32 quotient = static_cast<Float32>(operand3Ref.Read()) / static_cast<Float32>(divisor);
    for (const GearEntry& entry : gearTable) {
        if (quotient > entry.ratio - tolerance && entry.ratio + tolerance > quotient) {
            resultRef.Write(entry.gear);
            return true;
        }
    }
    return false;
}

bool CGangermittlung::Initialize(Parameters& parameters) {
    if (parameters.Count() != 2)
        return false;
    tolerance = parameters.NextSample<Float32>(); // stays even if there is no table
    const char* const fileName = parameters.NextText();
    return fileName != nullptr && AppendGearTable(fileName, gearTable);
}

namespace {

// Nothing tests the letter of operand 1; the operand is a UInt16, whatever the letter says.
constexpr TypeRow gearRows[] = {Row<CGangermittlung, CGangermittlungNV>("b?WW")};
constexpr Family families[] = {{"Gangermittlung", gearRows}};

} // namespace

std::span<const Family> GearFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
