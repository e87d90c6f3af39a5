#include "Runtime/Task.h"

#include "Runtime/Cancellation.h"
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
using test::runTask;
using test::TaskProbe;
using Events = std::vector<std::string>;

// Counts its destructions, to prove that cleanup ran.
struct Cleanup {
    int* count;
    ~Cleanup() { ++*count; }
};

Task<int> twice(int value) {
    co_return value * 2;
}

Task<int> failing(int* cleanups) {
    Cleanup cleanup{cleanups};
    co_await twice(1);
    throw std::runtime_error("leaf failed");
}

Task<void> sleeper(Duration delay, Events* events, std::string name) {
    co_await sleepFor(delay);
    events->push_back(name);
}

TEST(TaskTest, ValuesAndErrorsTravelThroughNestedAwaitsAndAnUnstartedTaskDoesNothing) {
    ManualExecutor executor;
    auto sum = [](int value) -> Task<int> { co_return co_await twice(value) + co_await twice(1); };
    EXPECT_EQ(runTask(executor, sum(5)), 12);
    int cleanups = 0;
    auto rethrow = [](int* cleanups) -> Task<int> { co_return co_await failing(cleanups); };
    EXPECT_THROW(runTask(executor, rethrow(&cleanups)), std::runtime_error);
    EXPECT_EQ(cleanups, 1);

    bool ran = false;
    auto body = [](bool* ran, Cleanup) -> Task<void> {
        *ran = true;
        co_return;
    };
    {
        auto task = body(&ran, Cleanup{&cleanups});
        cleanups = 0; // the temporary argument was moved into the frame
    }
    EXPECT_FALSE(ran);
    EXPECT_EQ(cleanups, 1);
}

TEST(SleepTest, SpawnedWorkStartsFromTheQueueAndTimersFireInDeadlineThenSchedulingOrder) {
    ManualExecutor executor;
    Events events;
    auto first = spawn(executor, sleeper(30s, &events, "a"));
    spawn(executor, sleeper(10s, &events, "b"));
    spawn(executor, sleeper(30s, &events, "c"));
    spawn(executor, [](Events* events) -> Task<void> {
        co_await sleepFor(0s);
        events->push_back("d");
        co_await sleepFor(5s); // scheduled by a firing timer, due within the same advance
        events->push_back("e");
    }(&events));
    EXPECT_EQ(executor.runningOperationCount(), 4U);
    EXPECT_EQ(executor.pendingTimerCount(), 0U); // nothing ran inside spawn
    executor.runUntilIdle();
    EXPECT_TRUE(events.empty());

    executor.advance(9s);
    EXPECT_EQ(events, (Events{"d", "e"}));
    executor.advance(1s);
    EXPECT_EQ(events, (Events{"d", "e", "b"}));
    executor.advance(20s);
    EXPECT_EQ(events, (Events{"d", "e", "b", "a", "c"}));
    EXPECT_TRUE(first.isFinished());
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
    EXPECT_EQ(executor.runningOperationCount(), 0U);
}

TEST(CancellationTest, CancellingEndsNestedSleepsAtOnceAndRunsEveryCleanup) {
    ManualExecutor executor;
    int cleanups = 0;
    bool reachedEnd = false;
    auto inner = [](int* cleanups) -> Task<int> {
        Cleanup cleanup{cleanups};
        co_await sleepFor(1s);
        co_await sleepFor(1h);
        co_return 1;
    };
    auto outer = [](auto inner, int* cleanups, bool* reachedEnd) -> Task<int> {
        Cleanup cleanup{cleanups};
        int value = co_await inner(cleanups);
        *reachedEnd = true;
        co_return value;
    };
    TaskProbe<int> probe(executor, outer(inner, &cleanups, &reachedEnd));
    executor.advance(2s);
    probe.cancel();
    executor.runUntilIdle();
    EXPECT_TRUE(probe.threw<CancelledError>());
    EXPECT_TRUE(probe.handle().isCancelled());
    EXPECT_FALSE(reachedEnd);
    EXPECT_EQ(cleanups, 2);
    EXPECT_EQ(executor.pendingTimerCount(), 0U);

    // After the end a cancellation changes nothing.
    TaskProbe<int> finished(executor, twice(2));
    executor.runUntilIdle();
    finished.cancel();
    executor.runUntilIdle();
    EXPECT_EQ(finished.value(), 4);
    EXPECT_FALSE(finished.handle().isCancelled());
}

TEST(CancellationTest, CancelBeforeStartIsSeenAtTheFirstCancellationPoint) {
    ManualExecutor executor;
    Events events;
    TaskProbe<void> probe(executor, [](Events* events) -> Task<void> {
        const bool cancelled = co_await isCancelled();
        events->push_back(cancelled ? "cancelled" : "running");
        co_await checkCancellation();
        events->push_back("after check");
    }(&events));
    probe.cancel();
    executor.runUntilIdle();
    EXPECT_EQ(events, (Events{"cancelled"}));
    EXPECT_TRUE(probe.threw<CancelledError>());
}

TEST(JoinTest, JoinWaitsForTheEndHoweverItEnds) {
    ManualExecutor executor;
    Events events;
    auto worker = spawn(executor, sleeper(1h, &events, "worker"));
    TaskProbe<void> joiner(executor, [](TaskHandle worker, Events* events) -> Task<void> {
        worker.cancel();
        co_await worker.join();
        events->push_back("joined");
        co_await worker.join(); // an ended operation is joined at once
    }(worker, &events));
    executor.runUntilIdle();
    EXPECT_EQ(events, (Events{"joined"}));
    EXPECT_TRUE(joiner.succeeded());
}

TEST(TeardownTest, SuspendedOperationsAreDestroyedWithTheExecutorRunningTheirCleanup) {
    int cleanups = 0;
    {
        ManualExecutor executor;
        for (int index = 0; index < 3; ++index) {
            spawn(executor, [](int* cleanups) -> Task<void> {
                Cleanup cleanup{cleanups};
                co_await sleepFor(1h);
            }(&cleanups));
        }
        executor.advance(1s);
        // One more that never starts; its argument lives in the frame.
        spawn(executor, [](Cleanup) -> Task<void> { co_return; }(Cleanup{&cleanups}));
        cleanups = 0;
        EXPECT_EQ(executor.runningOperationCount(), 4U);
    }
    EXPECT_EQ(cleanups, 4);
}

} // namespace
} // namespace kestrelle
