#include "fuzz/Memory.h"

#include <algorithm>
#include <cstring>

namespace VelFuzz {

using VelChecks::SampleBits;

namespace {

/// A parameter as a sample: the low bits of an integer, a double narrowed for Float32.
SampleBits SampleFrom(char letter, const Vel::Engine::Argument& argument) {
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

std::uint32_t CountFrom(const Vel::Engine::Argument& argument) { return std::get<std::uint32_t>(argument); }

} // namespace

Memory::Memory(const VelChecks::Row& row) : letter(row.signature.back()) {
    const std::string_view name = row.operation->name;
    const bool hasOneOperand = row.operation->operands == 1;
    if (name == "GetOldValueN")
        kind = Kind::Line;
    else if (name == "Min" && hasOneOperand)
        kind = Kind::Smallest;
    else if (name == "Max" && hasOneOperand)
        kind = Kind::Largest;
    else if (name == "Average" || name == "Statistics")
        kind = Kind::Mean;
    isAverage = name == "Average";
    if (kind != Kind::None) // what stands for parameters that are left out is what there is before Initialize
        Initialize(Vel::Engine::OrderParameters(*row.operation, letter, {}, row.signature).list);
}

void Memory::Initialize(const Vel::Engine::ArgumentList& parameters) {
    const auto& values = parameters.arguments;
    switch (kind) {
    case Kind::None:
        break;
    case Kind::Line:
        length = values.empty() ? 1 : CountFrom(values[0]);
        initialValue = values.size() < 2 ? 0 : SampleFrom(letter, values[1]);
        if (values.size() >= 2 && length == 0)
            length = 1;
        break;
    case Kind::Smallest:
    case Kind::Largest:
        if (values.size() < 2)
            break;
        ReadBounds(values[0], values[1]);
        length = values.size() == 2 ? 0 : CountFrom(values[2]);
        break;
    case Kind::Mean:
        if (values.size() < 3 || (values.size() > 3 && !isAverage))
            break;
        length = CountFrom(values[0]);
        ReadBounds(values[1], values[2]);
    }
}

void Memory::ReadBounds(const Vel::Engine::Argument& lower, const Vel::Engine::Argument& upper) {
    lowerBound = SampleFrom(letter, lower);
    upperBound = SampleFrom(letter, upper);
}

void Memory::Reset() {
    held.clear();
    counted = 0;
    isFull = false;
}

Memory::Action Memory::ActionFor(SampleBits sample) const {
    if (kind == Kind::None)
        return Action::Nothing;
    if (kind == Kind::Line)
        return held.size() != length ? Action::Hold : held.empty() ? Action::Nothing : Action::Replace;
    if (VelChecks::IsAbove(letter, lowerBound, sample) || VelChecks::IsAbove(letter, sample, upperBound))
        return Action::Nothing;
    return kind == Kind::Mean ? ActionOfMean() : ActionOfWindow();
}

Memory::Action Memory::ActionOfWindow() const {
    if (length == 0)
        return Action::Nothing;
    return isFull ? Action::Replace : Action::Hold;
}

Memory::Action Memory::ActionOfMean() const {
    if (length == 0)
        return Action::Count;
    return counted >= length && !held.empty() ? Action::Replace : Action::Hold;
}

bool Memory::MayAllocate(SampleBits sample) const {
    if (ActionFor(sample) != Action::Hold || held.size() < mostHeld)
        return false;
    // Samples of a narrow type that can still become the extreme all differ.
    const std::size_t size = VelChecks::SizeOfSample(letter);
    const bool isExtreme = kind == Kind::Smallest || kind == Kind::Largest;
    return !isExtreme || size > 2 || held.size() < std::size_t{1} << (8 * size);
}

std::optional<SampleBits> Memory::Take(SampleBits sample) {
    const Action action = ActionFor(sample);
    const SampleBits lineResult = action == Action::Hold ? initialValue : held.empty() ? sample : held.front();
    if (action == Action::Count || (action == Action::Hold && counted < length))
        ++counted;
    if (action == Action::Replace)
        held.pop_front();
    const bool isHeld = action == Action::Replace || action == Action::Hold;
    if (isHeld)
        held.push_back(sample);
    mostHeld = std::max(mostHeld, held.size());
    isFull = isFull || (isHeld && held.size() == length);

    if (kind == Kind::Line)
        return lineResult;
    constexpr std::size_t mostToSearch = 300; // several blocks of the library's window
    if (kind == Kind::Mean || !isHeld || held.size() > mostToSearch)
        return std::nullopt;
    return Extreme();
}

/// The oldest of the smallest, or the newest of the largest. A NaN only where there is nothing else.
SampleBits Memory::Extreme() const {
    SampleBits extreme = held.front();
    for (const SampleBits sample : held) {
        const bool isFirst = VelChecks::IsNaN(letter, extreme);
        const bool isReached = kind == Kind::Smallest ? VelChecks::IsAbove(letter, extreme, sample)
                                                      : !VelChecks::IsAbove(letter, extreme, sample);
        if (isFirst || (isReached && !VelChecks::IsNaN(letter, sample)))
            extreme = sample;
    }
    return extreme;
}

} // namespace VelFuzz
