#include "Security/ExclusiveOperationGate.h"

#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Events = std::vector<std::string>;

Task<void> protectedWork(ExclusiveOperationGate& gate, Events& events, std::string name,
                         Duration hold) {
    auto guard = co_await gate.acquire();
    events.push_back(name + " in");
    co_await sleepFor(hold);
    events.push_back(name + " out");
}

TEST(ExclusiveOperationGateTest, WaitersOwnTheGateOneAtATimeInArrivalOrder) {
    test::ManualExecutor executor;
    ExclusiveOperationGate gate;
    Events events;
    spawn(executor, protectedWork(gate, events, "owner", 10s));
    executor.runUntilIdle();
    for (auto name : {"first", "second"}) {
        spawn(executor, protectedWork(gate, events, name, 1s));
    }
    executor.runUntilIdle();
    EXPECT_EQ(gate.waiterCount(), 2U);
    executor.advance(10s); // the owner releases; the first waiter's resumption is only queued
    spawn(executor, protectedWork(gate, events, "newcomer", 1s));
    executor.advance(3s);
    EXPECT_EQ(events, (Events{"owner in", "owner out", "first in", "first out", "second in",
                              "second out", "newcomer in", "newcomer out"}));
    EXPECT_FALSE(gate.isHeld());
}

TEST(ExclusiveOperationGateTest, TheGuardReleasesOnCancellationAndTeardown) {
    ExclusiveOperationGate gate;
    Events events;
    {
        test::ManualExecutor executor;
        test::TaskProbe<void> cancelled(executor, protectedWork(gate, events, "cancelled", 1h));
        executor.runUntilIdle();
        cancelled.cancel();
        executor.runUntilIdle();
        EXPECT_TRUE(cancelled.threw<CancelledError>());
        EXPECT_FALSE(gate.isHeld());

        // An owner and a waiter destroyed with their executor leave the gate free.
        spawn(executor, protectedWork(gate, events, "owner", 1h));
        spawn(executor, protectedWork(gate, events, "waiter", 1s));
        executor.runUntilIdle();
    }
    EXPECT_FALSE(gate.isHeld());
    EXPECT_EQ(gate.waiterCount(), 0U);
}

} // namespace
} // namespace kestrelle
