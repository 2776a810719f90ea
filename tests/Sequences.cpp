#include "Sequences.h"

#include "FakePlatform.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <optional>
#include <variant>

namespace Sequences {

namespace {

constexpr double resultMarker = 77;
/// Stands in the result before each Execute, so that a write shows.
constexpr double untouched = 99;

/// Calls a function with a value of the type that a letter names.
template <class TFunction>
auto OfType(char letter, TFunction function) {
    switch (letter) {
    case 'B':
        return function(std::uint8_t{});
    case 'W':
        return function(std::uint16_t{});
    case 'L':
        return function(std::uint32_t{});
    case 'Q':
        return function(std::uint64_t{});
    case 'b':
        return function(std::int8_t{});
    case 'w':
        return function(std::int16_t{});
    case 'l':
        return function(std::int32_t{});
    case 'q':
        return function(std::int64_t{});
    case 'F':
        return function(float{});
    default:
        return function(double{});
    }
}

/// A channel whose type is known at run time.
class AnyChannel {
public:
    explicit AnyChannel(char typeLetter) : letter(typeLetter) {}
    void Write(double value) {
        current = storage.data();
        OfType(letter, [&](auto type) {
            const auto sample = static_cast<decltype(type)>(value);
            std::memcpy(storage.data(), &sample, sizeof sample);
        });
    }
    double Read() const {
        return OfType(letter, [&](auto type) {
            std::memcpy(&type, storage.data(), sizeof type);
            return static_cast<double>(type);
        });
    }
    void Write(const Cell& cell) {
        if (cell.kind == Cell::Kind::Value)
            Write(cell.value);
        else if (cell.kind == Cell::Kind::NoValue && noValue)
            storage = *noValue, current = storage.data();
        else if (cell.kind == Cell::Kind::NoValue)
            WriteDefaultNoValue();
        else
            current = nullptr;
    }
    /// What stands here now is what `none` writes from now on.
    void KeepAsNoValue() {
        if (current != nullptr)
            noValue = storage;
    }
    void* Reference() { return &current; }

private:
    void WriteDefaultNoValue() {
        current = storage.data();
        OfType(letter, [&](auto type) {
            type = Vel::defaultNoValue<decltype(type)>;
            std::memcpy(storage.data(), &type, sizeof type);
        });
    }

    char letter;
    alignas(8) std::array<std::byte, 8> storage{};
    std::optional<std::array<std::byte, 8>> noValue;
    void* current = nullptr;
};

} // namespace

class Rig {
public:
    explicit Rig(const Sequence& sequence) {
        channels.reserve(sequence.signature.size());
        for (const char letter : sequence.signature)
            channels.emplace_back(letter);
        channels[0].Write(resultMarker);
        for (std::size_t i = 1; i < channels.size(); ++i) {
            channels[i].Write(i <= sequence.markers.size() ? sequence.markers[i - 1] : none);
            channels[i].KeepAsNoValue();
        }
        const auto reference = [&](std::size_t i) { return i < channels.size() ? channels[i].Reference() : nullptr; };
        operation = Vel::OperationHandle(::Create(sequence.form, sequence.name.c_str(), sequence.signature.c_str(),
                                                  reference(0), reference(1), reference(2), reference(3)));
    }

    bool IsCreated() const { return static_cast<bool>(operation); }

    void Execute(const std::vector<Cell>& operands, const Expected& expected) {
        for (std::size_t i = 0; i < operands.size(); ++i)
            channels[i + 1].Write(operands[i]);
        const double before = heldResult.value_or(untouched);
        heldResult.reset();
        channels[0].Write(before);

        EXPECT_EQ(operation.Execute(), expected.returned);
        const double wanted = expected.result == Expected::Result::Untouched ? before
                              : expected.result == Expected::Result::Marker  ? resultMarker
                                                                             : expected.value;
        const double result = channels[0].Read();
        if (std::isnan(wanted))
            EXPECT_TRUE(std::isnan(result)) << result;
        else
            EXPECT_TRUE(result == wanted && std::signbit(result) == std::signbit(wanted))
                << result << " and not " << wanted;
    }

    Vel::OperationHandle operation;
    std::optional<double> heldResult;

private:
    std::vector<AnyChannel> channels;
};

Step In(std::initializer_list<Cell> operands, Expected expected) {
    return {[operands = std::vector(operands), expected](Rig& rig) { rig.Execute(operands, expected); }};
}

Step Times(int count, std::initializer_list<Cell> operands, Expected expected) {
    return {[count, operands = std::vector(operands), expected](Rig& rig) {
        for (int i = 0; i < count && !testing::Test::HasFailure(); ++i)
            rig.Execute(operands, expected);
    }};
}

Step Init(Parameters parameters, bool expected) {
    return {
        [parameters = std::move(parameters), expected](Rig& rig) { EXPECT_EQ(parameters(rig.operation), expected); }};
}

Step At(std::uint32_t tickCount) {
    return {[tickCount](Rig&) { FakePlatform::tickCount = tickCount; }};
}

Step ResultHolds(double value) {
    return {[value](Rig& rig) { rig.heldResult = value; }};
}

const Step restart{[](Rig& rig) { EXPECT_TRUE(rig.operation.Reset()); }};

Sequence::Sequence(const char* operationName, const char* typeSignature, Form itsForm, Parameters parameters,
                   std::vector<Step> itsSteps)
    : name(operationName), signature(typeSignature), form(itsForm), steps(std::move(itsSteps)) {
    if (parameters)
        steps.insert(steps.begin(), Init(std::move(parameters), true));
}

Sequence& Sequence::Markers(std::initializer_list<Cell> operands) {
    markers = operands;
    return *this;
}

void RunSequences(const std::vector<Sequence>& sequences) {
    for (std::size_t i = 0; i < sequences.size(); ++i) {
        const Sequence& sequence = sequences[i];
        SCOPED_TRACE("sequence " + std::to_string(i) + ": " + sequence.name + " " + sequence.signature +
                     (sequence.form == aware ? " aware" : " plain"));
        Rig rig(sequence);
        ASSERT_TRUE(rig.IsCreated());
        for (std::size_t step = 0; step < sequence.steps.size(); ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            sequence.steps[step].act(rig);
        }
    }
}

void RunInBothForms(std::vector<Sequence> sequences) {
    for (const Form form : {plain, aware}) {
        for (Sequence& sequence : sequences)
            sequence.form = form;
        RunSequences(sequences);
    }
}

} // namespace Sequences
