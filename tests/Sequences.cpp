#include "Sequences.h"

#include "checks/FakePlatform.h"
#include "checks/Subject.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <optional>

namespace Sequences {

namespace {

constexpr double resultMarker = 77;
/// Stands in the result before each Execute, so that a write shows.
constexpr double untouched = 99;

using VelChecks::SampleBits;

SampleBits BitsOfNumber(char letter, double number) {
    return VelChecks::WithType(letter, [=]<class T>(T) { return VelChecks::BitsOf(static_cast<T>(number)); });
}

struct Channel {
    void Show(const Cell& cell) {
        current = cell.kind == Cell::Kind::Absent ? nullptr : &sample;
        sample = cell.kind == Cell::Kind::Value ? BitsOfNumber(letter, cell.value) : noValue;
    }
    double Number() const {
        return VelChecks::WithType(letter,
                                   [this]<class T>(T) { return static_cast<double>(VelChecks::FromBits<T>(sample)); });
    }

    char letter;
    SampleBits noValue = VelChecks::UsualNoValue(letter); ///< what `none` shows
    SampleBits sample = noValue;
    void* current = nullptr;
};

} // namespace

class Rig {
public:
    Rig(const Sequence& sequence, bool noValueAware) {
        for (const char letter : sequence.signature) {
            channels.push_back({letter});
            channels.back().Show(none);
        }
        channels[0].Show(resultMarker);
        for (std::size_t i = 0; i < sequence.markers.size(); ++i) {
            channels[i + 1].Show(sequence.markers[i]);
            channels[i + 1].noValue = channels[i + 1].sample;
        }
        const auto reference = [&](std::size_t i) { return i < channels.size() ? &channels[i].current : nullptr; };
        operation = Vel::OperationHandle(::Create(noValueAware, sequence.name.c_str(), sequence.signature.c_str(),
                                                  reference(0), reference(1), reference(2), reference(3)));
    }

    bool IsCreated() const { return static_cast<bool>(operation); }

    void Execute(const std::vector<Cell>& operands, const Expected& expected) {
        for (std::size_t i = 0; i < operands.size(); ++i)
            channels[i + 1].Show(operands[i]);
        const double before = heldResult.value_or(untouched);
        heldResult.reset();
        channels[0].Show(before);

        EXPECT_EQ(operation.Execute(), expected.returned);
        const double wanted = expected.result == Expected::Result::Untouched ? before
                              : expected.result == Expected::Result::Marker  ? resultMarker
                                                                             : expected.value;
        const double result = channels[0].Number();
        if (std::isnan(wanted))
            EXPECT_TRUE(std::isnan(result)) << result;
        else
            EXPECT_TRUE(result == wanted && std::signbit(result) == std::signbit(wanted))
                << result << " and not " << wanted;
    }

    Vel::OperationHandle operation;
    std::optional<double> heldResult;

private:
    std::deque<Channel> channels; // which stay where they are
};

Step In(std::initializer_list<Cell> operands, Expected expected) { return Times(1, operands, expected); }

Step Times(int count, std::initializer_list<Cell> operands, Expected expected) {
    return {[count, operands = std::vector(operands), expected](Rig& rig) {
        for (int i = 0; i < count; ++i)
            rig.Execute(operands, expected);
    }};
}

Step Init(Parameters parameters, bool expected) {
    return {[=](Rig& rig) { EXPECT_EQ(parameters(rig.operation), expected); }};
}

Step::Step(Parameters parameters) : Step(Init(std::move(parameters), true)) {}

Step::Step(std::vector<Step> several)
    : act([several = std::move(several)](Rig& rig) {
          for (std::size_t i = 0; i < several.size(); ++i) {
              SCOPED_TRACE("step " + std::to_string(i));
              several[i].act(rig);
          }
      }) {}

Step At(std::uint32_t tickCount) {
    return {[tickCount](Rig&) { FakePlatform::tickCount = tickCount; }};
}

Step ResultHolds(double value) {
    return {[value](Rig& rig) { rig.heldResult = value; }};
}

const Step restart{[](Rig& rig) { EXPECT_TRUE(rig.operation.Reset()); }};

void RunSequences(const std::vector<Sequence>& sequences) {
    for (std::size_t i = 0; i < sequences.size(); ++i)
        for (const bool noValueAware : sequences[i].forms) {
            const Sequence& sequence = sequences[i];
            SCOPED_TRACE("sequence " + std::to_string(i) + ": " + sequence.name + " " + sequence.signature +
                         (noValueAware ? " aware" : " plain"));
            Rig rig(sequence, noValueAware);
            ASSERT_TRUE(rig.IsCreated());
            Step(sequence.steps).act(rig);
        }
}

} // namespace Sequences
