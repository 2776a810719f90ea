#include "Sequences.h"

#include "checks/FakePlatform.h"
#include "checks/Subject.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <iomanip>
#include <limits>
#include <optional>
#include <sstream>

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
    explicit Channel(char itsLetter)
        : letter(itsLetter), noValue(VelChecks::UsualNoValue(itsLetter)), pointer(itsLetter) {}

    void Show(const Cell& cell) {
        isAbsent = cell.kind == Cell::Kind::Absent;
        pointer.Aim(isAbsent ? nullptr : sample.Address());
        sample = cell.kind == Cell::Kind::Value ? BitsOfNumber(letter, cell.value) : noValue;
    }
    double Number() const {
        return VelChecks::WithType(letter,
                                   [this]<class T>(T) { return static_cast<double>(VelChecks::FromBits<T>(sample)); });
    }

    char letter;
    SampleBits noValue; ///< what `none` shows
    VelChecks::SampleCell sample;
    Vel::Engine::SamplePointer pointer;
    bool isAbsent = false;
};

} // namespace

class Rig {
public:
    Rig(const Sequence& sequence, bool noValueAware) : sequencePlace(sequence.name.place) {
        for (const char letter : sequence.signature) {
            channels.emplace_back(letter);
            channels.back().Show(none);
        }
        channels[0].Show(resultMarker);
        for (std::size_t i = 0; i < sequence.markers.size(); ++i) {
            channels[i + 1].Show(sequence.markers[i]);
            channels[i + 1].noValue = channels[i + 1].sample;
        }
        const auto reference = [&](std::size_t i) {
            return i < channels.size() ? channels[i].pointer.Reference() : nullptr;
        };
        operation = Vel::OperationHandle(::Create(noValueAware, sequence.name.text.c_str(), sequence.signature.c_str(),
                                                  reference(0), reference(1), reference(2), reference(3)));
    }

    bool IsCreated() const { return static_cast<bool>(operation); }

    void Execute(const std::vector<Cell>& operands, const Expected& expected, Place place) {
        for (std::size_t i = 0; i < operands.size(); ++i)
            channels[i + 1].Show(operands[i]);
        const double before = heldResult.value_or(untouched);
        heldResult.reset();
        channels[0].Show(before);

        const bool returned = operation.Execute();
        const double wanted = expected.result == Expected::Result::Untouched ? before
                              : expected.result == Expected::Result::Marker  ? resultMarker
                                                                             : expected.value;
        const double result = channels[0].Number();
        const bool isSame =
            std::isnan(wanted) ? std::isnan(result) : result == wanted && std::signbit(result) == std::signbit(wanted);
        if (returned != expected.returned || !isSame) {
            constexpr int digits = std::numeric_limits<double>::max_digits10;
            std::ostringstream text;
            text << std::setprecision(digits) << "answers " << returned << " with " << result << ", and not "
                 << expected.returned << " with " << wanted << ", for";
            for (std::size_t i = 1; i < channels.size(); ++i)
                text << ' ' << (channels[i].isAbsent ? "an absent sample" : std::to_string(channels[i].Number()));
            ADD_FAILURE_AT(place.file, place.line) << text.str();
        }
    }

    const Place sequencePlace;
    Vel::OperationHandle operation;
    std::optional<double> heldResult;

private:
    std::deque<Channel> channels; // which stay where they are
};

Step In(std::initializer_list<Cell> operands, Expected expected, Place place) {
    return Times(1, operands, expected, place);
}

Step Times(int count, std::initializer_list<Cell> operands, Expected expected, Place place) {
    return {[=, operands = std::vector(operands)](Rig& rig) {
        for (int i = 0; i < count; ++i)
            rig.Execute(operands, expected, place);
    }};
}

Step Init(Parameters parameters, bool expected, Place place) {
    return {[=](Rig& rig) {
        if (parameters(rig.operation) != expected)
            ADD_FAILURE_AT(place.file, place.line) << "Initialize answers " << !expected << ", and not " << expected;
    }};
}

Step::Step(Parameters parameters)
    : act([parameters = std::move(parameters)](Rig& rig) {
          if (!parameters(rig.operation))
              ADD_FAILURE_AT(rig.sequencePlace.file, rig.sequencePlace.line) << "Initialize refuses the parameters";
      }) {}

Step::Step(std::vector<Step> several)
    : act([several = std::move(several)](Rig& rig) {
          for (const Step& step : several)
              step.act(rig);
      }) {}

Step At(std::uint32_t tickCount) {
    return {[tickCount](Rig&) { FakePlatform::tickCount = tickCount; }};
}

Step ResultHolds(double value) {
    return {[value](Rig& rig) { rig.heldResult = value; }};
}

const Step restart{[](Rig& rig) { EXPECT_TRUE(rig.operation.Reset()); }};

void RunSequences(const std::vector<Sequence>& sequences) {
    for (const Sequence& sequence : sequences)
        for (const bool noValueAware : sequence.forms) {
            const Place place = sequence.name.place;
            const testing::ScopedTrace trace(place.file, place.line,
                                             sequence.name.text + ' ' + sequence.signature +
                                                 (noValueAware ? ", NoValue-aware" : ", plain"));
            Rig rig(sequence, noValueAware);
            if (rig.IsCreated())
                Step(sequence.steps).act(rig);
            else
                ADD_FAILURE_AT(place.file, place.line) << "is not created";
        }
}

} // namespace Sequences
