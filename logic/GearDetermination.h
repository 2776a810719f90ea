/// The gear that a vehicle is in, found by the ratio of two speeds.
#pragma once

#include "core/Operation.h"
#include "core/OperationRows.h"
#include "logic/GearTable.h"

#include <bit>
#include <cstddef>
#include <vector>

namespace Velmarosk::Operation {

/// A sample of any type as a UInt16: its low 16 bits. After a sample of 8 bits it reads the byte behind it as well.
class LowBitsRef {
public:
    LowBitsRef(void* hostPointer, [[maybe_unused]] char letter) noexcept
        : location(static_cast<UInt16**>(hostPointer)) {
        if constexpr (std::endian::native == std::endian::big)
            if (const std::size_t size = SizeOfSample(TypeCodeFromLetter(letter)); size > sizeof(UInt16))
                place = size / sizeof(UInt16) - 1;
    }

    bool HasSample() const noexcept { return *location != nullptr; }
    UInt16 Read() const noexcept { return (*location)[place]; }

private:
    UInt16** location;
    std::size_t place = 0;
};

/// "Gangermittlung": the gear of the first table entry whose ratio differs from operand 3 divided by operand 2 by less
/// than the tolerance. Operand 1 is a gate: while it is 0, no gear is determined. It is read as a UInt16, whatever its
/// letter says.
///
/// Parameters: the tolerance (a floating value, in the unit of the ratios), then the name of the gear table's file (a
/// text). The letters do not matter. Initialize adds to the table and replaces the tolerance. Execute returns false and
/// leaves the result as it is while there is no gear: for a gate or a divisor of 0, and for an unknown ratio. Reset and
/// Terminate change nothing.
class CGangermittlung : public COperation {
public:
    explicit CGangermittlung(const References& references) noexcept;

    bool CheckNoValue() override;
    bool Execute() override;
    bool Initialize(Parameters& parameters) override;

private:
    ValueRef<SInt8> resultRef;
    LowBitsRef operand1Ref;
    ValueRef<UInt16> operand2Ref;
    ValueRef<UInt16> operand3Ref;
    Float32 tolerance = 0;
    std::vector<GearEntry> gearTable;
    NoValueFlag hasOperand1NoValue;
    NoValueFlag hasOperand2NoValue;
    NoValueFlag hasOperand3NoValue;
    SInt8 resultNoValue;
    UInt16 operand1NoValue = 0;
    UInt16 operand2NoValue = 0;
    UInt16 operand3NoValue = 0;
};
using CGangermittlungNV = CNoValueAware<CGangermittlung>;

/// The rows of this topic.
std::span<const Family> GearFamilies() noexcept;

} // namespace Velmarosk::Operation
