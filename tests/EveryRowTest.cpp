/// Walks over every row of the vocabulary, plain and NoValue-aware, with an allocator that counts and fails: operations
/// live their life, ask for no memory in steady state, and let every failure reach the host.

#include "checks/Allocations.h"
#include "checks/FakePlatform.h"
#include "checks/Subject.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using namespace VelChecks;

namespace {

void Pass(Subject& subject, const Choose& choose, int samples) {
    for (int sample = 0; sample < samples; ++sample) {
        subject.ChooseOperands(choose);
        FakePlatform::tickCount += static_cast<std::uint32_t>(choose(300));
        subject.Execute();
    }
}

TEST(EveryRow, LivesWithoutAllocationInSteadyState) {
    SeededChoice seeded(2);
    const Choose choose = std::ref(seeded);
    const std::vector<Row> rows = AllRows();
    for (const Row& row : rows)
        for (const bool noValueAware : {false, true}) {
            Subject subject(row, noValueAware);
            EXPECT_TRUE(subject.Initialize(ChooseParameters(row, choose))) << row.Title(noValueAware);
            Pass(subject, choose, 1500); // fills every window that is chosen
            const Outcome steady = Watch(0, [&] {
                for (int life = 0; life < 4; ++life) {
                    Pass(subject, choose, 2500);
                    EXPECT_TRUE(subject.Reset());
                }
                return true;
            });
            EXPECT_EQ(steady.allocations, 0u) << row.Title(noValueAware);
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

/// A fresh subject that lives until its window has filled.
bool Live(std::optional<Subject>& subject, const Row& row, bool noValueAware, const Choose& choose) {
    const Vel::Engine::OrderedParameters parameters = ChooseParameters(row, choose);
    subject.emplace(row, noValueAware);
    const bool isInitialized = subject->Initialize(parameters);
    Pass(*subject, choose, 500);
    return isInitialized;
}

TEST(EveryRow, LetsEachFailureOfAllocationReachTheHost) {
    const Row plus{Vel::FindOperations("Plus").front(), "BBB"};
    Subject other(plus, false);
    other.Operands()[0] = 40;
    other.Operands()[1] = 2;
    ChooseSample('B', SeededChoice(0)); // takes the memory that the walk itself keeps
    const std::vector<Row> rows = AllRows();
    for (std::size_t i = 0; i < 2 * rows.size(); ++i) {
        const Row& row = rows[i / 2];
        std::size_t failing = 0;
        for (Outcome outcome{.isOutOfMemory = true}; outcome.isOutOfMemory;) {
            const std::ptrdiff_t livingBefore = Allocations::living;
            SeededChoice seeded(i);
            std::optional<Subject> subject;
            outcome = Watch(++failing, [&] { return Live(subject, row, i % 2 == 1, std::ref(seeded)); });
            if (subject)
                Pass(*subject, std::ref(seeded), 200); // a host may go on
            subject.reset();
            ASSERT_EQ(Allocations::living, livingBefore) << row.Title(i % 2 == 1) << ", allocation " << failing;
        }
        ASSERT_GT(failing, 1u);
        other.Results()[0] = 0;
        EXPECT_TRUE(other.Execute());
        ASSERT_EQ(other.Results()[0], 42u);
    }
}

} // namespace
