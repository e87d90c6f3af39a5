#include "Security/ExclusiveOperationGate.h"

#include "Security/BiometricReuseWindow.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using test::ManualExecutor;
using test::TaskProbe;

Task<void> protectedWork(ExclusiveOperationGate& gate, std::vector<std::string>& events,
                         std::string name, Duration hold) {
    auto guard = co_await gate.acquire();
    events.push_back(name + " in");
    co_await sleepFor(hold);
    events.push_back(name + " out");
}

TEST(ExclusiveOperationGateTest, WaitersOwnTheGateOneAtATimeInArrivalOrder) {
    ManualExecutor executor;
    ExclusiveOperationGate gate;
    std::vector<std::string> events;
    spawn(executor, protectedWork(gate, events, "owner", 10s));
    executor.runUntilIdle();
    for (auto name : {"first", "second", "third"}) {
        spawn(executor, protectedWork(gate, events, name, 1s));
    }
    executor.runUntilIdle();
    EXPECT_EQ(gate.waiterCount(), 3U);

    executor.advance(10s);
    EXPECT_EQ(events, (std::vector<std::string>{"owner in", "owner out", "first in"}));
    executor.advance(2s);
    EXPECT_EQ(events.back(), "third in");
    executor.advance(1s);
    EXPECT_EQ(events,
              (std::vector<std::string>{"owner in", "owner out", "first in", "first out",
                                        "second in", "second out", "third in", "third out"}));
    EXPECT_FALSE(gate.isHeld());
}

TEST(ExclusiveOperationGateTest, ANewcomerCannotSlipInBetweenReleaseAndTheWaitersTurn) {
    ManualExecutor executor;
    ExclusiveOperationGate gate;
    std::vector<std::string> events;
    spawn(executor, protectedWork(gate, events, "owner", 1s));
    executor.runUntilIdle();
    spawn(executor, protectedWork(gate, events, "waiter", 1s));
    executor.runUntilIdle();
    executor.advance(1s); // owner releases; the waiter's resumption is only queued
    spawn(executor, protectedWork(gate, events, "newcomer", 1s));
    executor.advance(2s);
    EXPECT_EQ(events, (std::vector<std::string>{"owner in", "owner out", "waiter in", "waiter out",
                                                "newcomer in", "newcomer out"}));
}

TEST(ExclusiveOperationGateTest, TheGuardReleasesOnErrorsAndCancellation) {
    ManualExecutor executor;
    ExclusiveOperationGate gate;
    TaskProbe<void> failing(executor, [](ExclusiveOperationGate& gate) -> Task<void> {
        auto guard = co_await gate.acquire();
        throw std::runtime_error("keychain failed");
    }(gate));
    executor.runUntilIdle();
    EXPECT_TRUE(failing.threw<std::runtime_error>());
    EXPECT_FALSE(gate.isHeld());

    std::vector<std::string> events;
    TaskProbe<void> cancelled(executor, protectedWork(gate, events, "cancelled", 1h));
    executor.runUntilIdle();
    cancelled.cancel();
    executor.runUntilIdle();
    EXPECT_TRUE(cancelled.threw<CancelledError>());
    EXPECT_FALSE(gate.isHeld());

    // Free again: the next caller gets it without waiting for anything.
    TaskProbe<void> next(executor, protectedWork(gate, events, "next", 0s));
    executor.runUntilIdle();
    EXPECT_EQ(events.back(), "next in");
}

TEST(ExclusiveOperationGateTest, WaitersDestroyedWithTheExecutorLeaveTheGateConsistent) {
    ExclusiveOperationGate gate;
    std::vector<std::string> events;
    {
        ManualExecutor executor;
        spawn(executor, protectedWork(gate, events, "owner", 1h));
        spawn(executor, protectedWork(gate, events, "waiter", 1s));
        executor.runUntilIdle();
    }
    EXPECT_FALSE(gate.isHeld());
    EXPECT_EQ(gate.waiterCount(), 0U);
}

TEST(BiometricReuseWindowTest, SevenWindowsWithTheirSecondsAndTitlesInOrder) {
    std::vector<std::pair<std::int32_t, std::string>> listed;
    for (auto window : allBiometricReuseWindows) {
        listed.emplace_back(rawValue(window), std::string(title(window)));
    }
    EXPECT_EQ(listed, (std::vector<std::pair<std::int32_t, std::string>>{{30, "30 seconds"},
                                                                         {60, "1 minute"},
                                                                         {120, "2 minutes"},
                                                                         {300, "5 minutes"},
                                                                         {600, "10 minutes"},
                                                                         {900, "15 minutes"},
                                                                         {1800, "30 minutes"}}));
    EXPECT_EQ(biometricReuseWindowFromRawValue(900), BiometricReuseWindow::fifteenMinutes);
    for (std::int64_t other : {0, -30, 45, 31, 1799, 3600}) {
        EXPECT_FALSE(biometricReuseWindowFromRawValue(other)) << other;
    }
    EXPECT_LT(BiometricReuseWindow::oneMinute, BiometricReuseWindow::thirtyMinutes);
}

} // namespace
} // namespace kestrelle
