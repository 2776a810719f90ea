/// A walk over every row of the vocabulary, plain and NoValue-aware.

#include "FakePlatform.h"

#include "checks/Subject.h"

#include <gtest/gtest.h>

using namespace VelChecks;

namespace {

/// Runs a function on each row in both forms.
void Walk(const std::function<void(const Row& row, bool noValueAware)>& visit) {
    for (const Row& row : AllRows())
        for (const bool noValueAware : {false, true}) {
            SCOPED_TRACE(row.Title(noValueAware));
            visit(row, noValueAware);
        }
}

TEST(EveryRow, LivesFromCreationToDisposal) {
    SeededChoice choose(1);
    std::size_t rows = 0;
    Walk([&](const Row& row, bool noValueAware) {
        ++rows;
        Subject subject(row, noValueAware);
        for (int life = 0; life < 3; ++life) {
            EXPECT_TRUE(subject.Initialize(ChooseParameters(row, std::ref(choose))));
            for (int sample = 0; sample < 100; ++sample) {
                subject.ChooseOperands(std::ref(choose));
                FakePlatform::tickCount += static_cast<std::uint32_t>(choose(300));
                subject.Execute();
            }
            EXPECT_TRUE(subject.Reset());
        }
    });
    EXPECT_EQ(rows, 2 * 777);
}

} // namespace
