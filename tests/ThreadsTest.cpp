/// Many threads at once, watched by ThreadSanitizer: operations on their own channels, shared operands that nobody
/// writes, creation, and messages.

#include "checks/Subject.h"

#include "VelOperation.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

constexpr int threads = 4;

template <class TFunction>
void OnThreads(TFunction function) {
    std::vector<std::jthread> running;
    for (int thread = 0; thread < threads; ++thread)
        running.emplace_back(function, thread);
}

std::atomic<int> messages;

TEST(Threads, EveryRowIsCreatedAndExecutedSideBySide) {
    OnThreads([rows = VelChecks::AllRows()](int thread) {
        VelChecks::SeededChoice seeded(static_cast<std::uint64_t>(thread));
        const VelChecks::Choose choose = std::ref(seeded);
        for (const VelChecks::Row& row : rows)
            for (const bool noValueAware : {false, true}) {
                VelChecks::Subject subject(row, noValueAware);
                subject.Initialize(ChooseParameters(row, choose));
                for (int sample = 0; sample < 50; ++sample) {
                    subject.ChooseOperands(choose);
                    subject.Execute();
                }
                subject.Reset();
            }
    });
}

TEST(Threads, OperandsMayBeShared) {
    Vel::Channel<double> shared;
    shared = 3;
    OnThreads([&shared](int thread) {
        double noValue = 0, own = thread;
        double *ownPointer = &own, *resultPointer = &noValue;
        // Created by hand: the typed Create shows NoValue in the shared channel for a moment.
        const Vel::OperationHandle plus(Create(false, "Plus", "DDD", &resultPointer, &ownPointer, shared.Reference()));
        for (int sample = 0; sample < 1000; ++sample)
            Execute(plus.Get());
        EXPECT_EQ(noValue, thread + 3);
    });
}

TEST(Threads, MessagesComeOnTheThreadThatAsks) {
    static thread_local int here = 0;
    messages = 0;
    SetMessageCallback([](int, const char*) {
        ++messages;
        ++here;
    });
    static constexpr int requests = 500;
    OnThreads([](int) {
        double* none = nullptr;
        for (int request = 0; request < requests; ++request)
            EXPECT_EQ(Create(true, "Nonsense", "DD", &none, &none), nullptr);
        EXPECT_EQ(here, requests);
    });
    SetMessageCallback(nullptr);
    EXPECT_EQ(messages, threads * requests);
}

} // namespace
