#include "fuzz/Memory.h"

#include <algorithm>
#include <cstring>

namespace VelFuzz {

using VelChecks::SampleBits;

namespace {

/// A parameter as a sample: the low bits of an integer, a double narrowed for Float32.
SampleBits SampleFrom(char letter, const Velreplay::Argument& argument) {
    SampleBits bits = 0;
    std::visit(
        [&](auto value) {
            const auto narrowed = static_cast<float>(letter == 'F' ? std::get<double>(argument) : 0.0);
            const void* const from = letter == 'F' ? static_cast<const void*>(&narrowed) : &value;
            std::memcpy(&bits, from, VelChecks::SizeOfSample(letter));
        },
        argument);
    return bits;
}

std::uint32_t CountFrom(const Velreplay::Argument& argument) { return std::get<std::uint32_t>(argument); }

} // namespace

Memory::Memory(const VelChecks::Row& row) : letter(row.signature.back()) {
    const std::string_view name = row.operation->name;
    if (name == "GetOldValueN") {
        kind = Kind::Line;
    } else if ((name == "Min" || name == "Max") && row.operation->operands == 1) {
        kind = Kind::Extreme;
    } else if (name == "Average" || name == "Statistics") {
        kind = Kind::Mean;
        hasLimit = name == "Average";
    }
    if (kind != Kind::None) // what parameters that are left out become is what there is before Initialize
        Initialize(OrderParameters(*row.operation, letter, {}).list);
}

void Memory::Initialize(const Velreplay::ArgumentList& parameters) {
    const auto& values = parameters.arguments;
    if (kind == Kind::Line) {
        length = values.empty() ? 1 : CountFrom(values[0]);
        if (values.size() >= 2 && length == 0)
            length = 1;
    } else if (kind == Kind::Extreme && values.size() >= 2) {
        ReadBounds(values[0], values[1]);
        length = values.size() == 2 ? 0 : CountFrom(values[2]);
    } else if (kind == Kind::Mean && (values.size() == 3 || (hasLimit && values.size() > 3))) {
        length = CountFrom(values[0]);
        ReadBounds(values[1], values[2]);
    }
}

void Memory::ReadBounds(const Velreplay::Argument& lower, const Velreplay::Argument& upper) {
    lowerBound = SampleFrom(letter, lower);
    upperBound = SampleFrom(letter, upper);
}

void Memory::Reset() {
    held = 0;
    counted = 0;
    isFull = false;
}

bool Memory::Take(SampleBits sample) {
    if (kind != Kind::Line && (VelChecks::IsAbove(letter, lowerBound, sample) || VelChecks::IsAbove(letter, sample, upperBound)))
        return false;
    switch (kind) {
    case Kind::Line:
        return TakeInLine();
    case Kind::Extreme:
        return TakeInWindow();
    case Kind::Mean:
        return TakeInMean();
    case Kind::None:
        break;
    }
    return false;
}

bool Memory::TakeInLine() { return held != length && Hold(); }

bool Memory::TakeInWindow() {
    if (length == 0 || isFull)
        return false;
    const bool isLarger = Hold();
    isFull = held == length;
    // Samples of a narrow type that can still become the extreme all differ.
    const std::size_t size = VelChecks::SizeOfSample(letter);
    return isLarger && (size > 2 || held <= std::uint64_t{1} << (8 * size));
}

bool Memory::TakeInMean() {
    if (length == 0) {
        ++counted;
        return false;
    }
    if (counted >= length && held != 0)
        return false;
    if (counted < length)
        ++counted;
    return Hold();
}

bool Memory::Hold() {
    ++held;
    const bool isLarger = held > mostHeld;
    mostHeld = std::max(mostHeld, held);
    return isLarger;
}

} // namespace VelFuzz
