/// Walks over every row of the vocabulary, plain and NoValue-aware, with an allocator that counts and fails: operations
/// need no memory in steady state, let every failure reach the host, and behave as the vocabulary says.

#include "checks/Allocations.h"
#include "checks/Descriptors.h"
#include "checks/FakePlatform.h"
#include "checks/WindowModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <optional>
#include <set>

using namespace VelChecks;

namespace {

void Pass(Subject& subject, const Choose& choose, int samples) {
    for (int sample = 0; sample < samples; ++sample) {
        subject.ChooseOperands(choose);
        FakePlatform::tickCount += static_cast<std::uint32_t>(choose(300));
        subject.Execute();
    }
}

/// What a run of samples is like.
enum class Phase { Mixed, Constant, NaN, NoValue, OutOfBounds, Rising, Falling };

void ChooseOperands(Subject& subject, Phase phase, int sample, const Choose& choose) {
    if (phase == Phase::Mixed)
        return subject.ChooseOperands(choose);
    for (std::size_t i = 0; i < subject.Operands().size(); ++i) {
        const char letter = subject.Letter(i);
        const double nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
        const bool isFloating = letter == 'F' || letter == 'D';
        const double special = phase == Phase::NaN ? nan : phase == Phase::OutOfBounds ? infinity : 0;
        if (phase == Phase::NoValue)
            subject.Operands()[i] = UsualNoValue(letter);
        else if (special != 0 && isFloating)
            subject.Operands()[i] = letter == 'F' ? BitsOf(static_cast<float>(special)) : BitsOf(special);
        else
            subject.Operands()[i] = SampleOf(letter, phase == Phase::OutOfBounds ? 120
                                                     : phase == Phase::Rising    ? sample
                                                     : phase == Phase::Falling   ? -sample
                                                                                 : 5);
    }
    subject.KeepFromFaults();
}

TEST(EveryRow, AllocatesOnlyWhileAWindowHoldsMoreThanEverBefore) {
    using enum Phase;
    SeededChoice seeded(2);
    const Choose choose = std::ref(seeded);
    for (const Row& row : AllRows())
        for (const bool noValueAware : {false, true}) {
            Subject subject(row, noValueAware);
            const auto model = WindowModel::Of(row, noValueAware);
            for (int life = 0; life < 8; ++life) {
                const auto parameters = ChooseParameters(row, choose);
                EXPECT_TRUE(subject.Initialize(parameters)) << row.Title(noValueAware);
                if (model)
                    model->Initialize(parameters.list);
                for (const Phase phase : {Rising, NaN, Constant, NoValue, Falling, OutOfBounds, Mixed})
                    for (int sample = 0; sample < 170; ++sample) { // more than the longest window
                        ChooseOperands(subject, phase, sample, choose);
                        FakePlatform::tickCount += 150;
                        const SampleBits operand = model ? SampleBits{subject.Operands()[0]} : 0;
                        const bool isNoValue = subject.HasNoValue();
                        const bool mayAllocate = model && model->MayAllocate(operand, isNoValue);
                        const Outcome outcome = Watch(0, [&] { return subject.Execute(); });
                        ASSERT_TRUE(mayAllocate || outcome.allocations == 0)
                            << row.Title(noValueAware) << ", life " << life << ", phase " << static_cast<int>(phase)
                            << ", sample " << sample;
                        if (model)
                            model->Execute(operand, isNoValue);
                    }
                if (life % 2 == 1) {
                    EXPECT_EQ(Watch(0, [&] { return subject.Reset(); }).allocations, 0u) << row.Title(noValueAware);
                    if (model)
                        model->Reset();
                }
            }
        }
}

TEST(EveryRow, ReadsTheClockOnlyIfTheVocabularySaysSo) {
    SeededChoice seeded(3);
    const Choose choose = std::ref(seeded);
    for (const Row& row : AllRows()) {
        bool hasReadClock = false;
        for (const bool noValueAware : {false, true}) {
            Subject subject(row, noValueAware);
            FakePlatform::tickCountReads = 0;
            for (int life = 0; life < 8; ++life) { // some parameters switch the clock off
                ASSERT_TRUE(subject.Initialize(ChooseParameters(row, choose)));
                Pass(subject, choose, 100);
            }
            hasReadClock = hasReadClock || FakePlatform::tickCountReads != 0;
        }
        const bool isTimeOfDay = row.operation->operands == 0; // which has no tick counter
        EXPECT_EQ(hasReadClock || isTimeOfDay, row.operation->traits.readsClock) << row.Title(true);
    }
}

/// Whether the NoValue-aware form, beside the plain one, behaves like this kind of twin.
bool BehavesAs(Vel::Twin twin, const Row& row) {
    SeededChoice seeded(5);
    const Choose choose = std::ref(seeded);
    Subject plain(row, false), aware(row, true);
    const auto isSame = [&](std::size_t i) {
        return AreSame(row.signature[i], plain.Results()[i], aware.Results()[i]);
    };
    const auto isMarker = [&](std::size_t i) {
        return AreSame(row.signature[i], aware.Results()[i], *aware.ResultMarkers()[i]);
    };
    const auto all = [&](const auto& holds) {
        for (std::size_t i = 0; i < row.operation->results; ++i)
            if (!holds(i))
                return false;
        return true;
    };
    const auto computeAlike = [&] { return plain.Execute() == aware.Execute() && all(isSame); };
    const auto isIdle = [](Subject& subject) {
        return !subject.Execute() &&
               std::ranges::all_of(subject.Results(), [](SampleBits result) { return result == 77; });
    };
    const auto behaves = [&](bool isNoValue) {
        using enum Vel::Twin;
        switch (twin) {
        case OnlyAware:
            aware.Execute();
            return isIdle(plain);
        case OnlyPlain:
            plain.Execute();
            return isIdle(aware);
        case TakesForZero:
            if (isNoValue)
                plain.Operands()[0] = 0;
            return computeAlike();
        default:
            break;
        }
        if (!isNoValue || twin == Ignores)
            return computeAlike();
        const bool answer = aware.Execute();
        switch (twin) {
        case Restarts:
            plain.Reset();
            return !answer && all(isMarker);
        case Decides:
            return answer ? plain.Execute() && all(isSame) : all(isMarker) && (plain.Execute(), true);
        case Repeats:
            return all([&](std::size_t i) { return isSame(i) || isMarker(i); });
        case ShowsAnother:
            return true;
        default: // refuses
            return !answer && all(isMarker);
        }
    };
    for (int life = 0; life < 8; ++life) {
        const auto parameters = ChooseParameters(row, choose);
        EXPECT_TRUE(plain.Initialize(parameters) && aware.Initialize(parameters)) << row.Title(true);
        for (int sample = 0; sample < 200; ++sample) {
            plain.ChooseOperands(choose);
            std::ranges::copy(plain.Operands(), aware.Operands().begin());
            for (std::size_t i = 0; i < row.operation->results && twin != Vel::Twin::Repeats; ++i)
                plain.Results()[i] = aware.Results()[i] = 77;
            FakePlatform::tickCount += static_cast<std::uint32_t>(choose(300));
            if (!behaves(aware.HasNoValue()))
                return false;
        }
        plain.Reset();
        aware.Reset();
    }
    return true;
}

TEST(EveryRow, TreatsNoValueAsTheVocabularySays) {
    using enum Vel::Twin;
    constexpr std::array strictestFirst{OnlyAware, OnlyPlain,    Ignores, Refuses,     Restarts,
                                        Decides,   TakesForZero, Repeats, ShowsAnother};
    for (const Row& row : AllRows()) {
        if (row.operation->name == "Gangermittlung") // looks at its first operand only
            continue;
        const Vel::Twin described = TwinOf(*row.operation, row.signature);
        for (const Vel::Twin twin : strictestFirst) {
            // This operation repeats its 1, which looks like a decision as well.
            if (row.operation->name == "StartOnlyTrigger" && twin == Decides)
                continue;
            const bool behaves = BehavesAs(twin, row);
            EXPECT_EQ(behaves, twin == described) << row.Title(true) << " as twin " << static_cast<int>(twin);
            if (behaves)
                break;
        }
    }
}

/// The life of an operation, call by call: the first call sets the parameters, the others are samples.
class Life {
public:
    Life(const Row& itsRow, std::uint64_t itsSeed) : row(itsRow), seed(itsSeed) {
        SeededChoice seeded(seed);
        Subject subject(row, false);
        for (int call = 0; call < calls; ++call) {
            subject.ChooseOperands(std::ref(seeded));
            operands.emplace_back(subject.Operands().begin(), subject.Operands().end());
        }
    }

    /// A table of gears can be read only once, so each subject needs its own parameters.
    Vel::Engine::OrderedParameters Parameters() const { return ChooseParameters(row, SeededChoice(seed)); }

    bool Call(Subject& subject, std::size_t call, const Vel::Engine::OrderedParameters& parameters) const {
        if (call == 0)
            return subject.Initialize(parameters);
        std::ranges::copy(operands[call], subject.Operands().begin());
        for (SampleCell& result : subject.Results())
            result = 77;
        FakePlatform::tickCount = static_cast<std::uint32_t>(150 * call);
        return subject.Execute();
    }

    static constexpr int calls = 500;

private:
    const Row& row;
    std::uint64_t seed;
    std::vector<std::vector<SampleBits>> operands;
};

/// A call that finds no memory throws, and has no effect: after it the operation does the same as another one that was
/// spared the call. Only a gear table keeps what it had read.
TEST(EveryRow, LetsEachFailureOfAllocationReachTheHostAndGoesOn) {
    const std::vector<Row> rows = AllRows();
    for (std::size_t i = 0; i < 2 * rows.size(); ++i) {
        const Row& row = rows[i / 2];
        const std::string title = row.Title(i % 2 == 1);
        const Life life(row, i);
        std::size_t failing = 0;
        for (bool hasFailed = true; hasFailed;) {
            const auto parameters = life.Parameters(), twinParameters = life.Parameters();
            const auto openBefore = OpenDescriptors();
            const std::ptrdiff_t livingBefore = Allocations::living;
            std::optional<Subject> subject, twin;
            std::size_t call = 0;
            const Outcome outcome = Watch(++failing, [&] {
                subject.emplace(row, i % 2 == 1);
                for (; call < Life::calls; ++call)
                    life.Call(*subject, call, parameters);
                return true;
            });
            hasFailed = outcome.isOutOfMemory;
            if (subject && hasFailed && (call != 0 || row.operation->name != "Gangermittlung")) {
                twin.emplace(row, i % 2 == 1);
                for (std::size_t earlier = 0; earlier < call; ++earlier)
                    life.Call(*twin, earlier, twinParameters);
                for (std::size_t later = std::max<std::size_t>(call, 1); ++later < Life::calls;) {
                    const bool answer = life.Call(*subject, later, parameters);
                    ASSERT_EQ(answer, life.Call(*twin, later, twinParameters))
                        << title << ", sample " << later << " after " << call;
                    ASSERT_TRUE(std::ranges::equal(subject->Results(), twin->Results()))
                        << title << ", sample " << later << " after the loss of " << call;
                }
            }
            subject.reset();
            twin.reset();
            ASSERT_EQ(Allocations::living, livingBefore) << title << ", allocation " << failing;
            ASSERT_EQ(OpenDescriptors(), openBefore) << title << ", allocation " << failing;
        }
        ASSERT_GT(failing, 1u);
    }
}

/// Results stay the same, except for operations that write before they have read everything.
TEST(EveryRow, PutsItsResultIntoTheChannelOfAnOperandToo) {
    SeededChoice seeded(4);
    const Choose choose = std::ref(seeded);
    std::set<std::string> different;
    for (const Row& row : AllRows())
        for (std::size_t operand = 0; row.operation->operands > 1 && operand < row.operation->operands; ++operand)
            for (const bool noValueAware : {false, true}) {
                if (row.signature[0] != row.signature[1 + operand])
                    continue;
                const auto parameters = ChooseParameters(row, choose);
                Subject apart(row, noValueAware), shared(row, noValueAware);
                shared.ShareChannel(0, 1 + operand);
                EXPECT_TRUE(apart.Initialize(parameters) && shared.Initialize(parameters));
                for (int sample = 0; sample < 500; ++sample) {
                    apart.ChooseOperands(choose);
                    std::ranges::copy(apart.Operands(), shared.Operands().begin());
                    apart.Results()[0] = apart.Operands()[operand];
                    FakePlatform::tickCount += 150;
                    const bool answer = apart.Execute();
                    if (answer != shared.Execute() || apart.Results()[0] != shared.Operands()[operand])
                        different.insert(std::string(row.operation->name) + ' ' + std::to_string(1 + operand));
                }
            }
    EXPECT_EQ(different, (std::set<std::string>{"MonoFlop 1", "MonoFlop 2", "TimeDiff 3"}));
}

} // namespace
