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

// Counts its destructions, to prove that cleanup ran.
struct Cleanup {
    int* count;
    ~Cleanup() { ++*count; }
};

Task<int> leaf(int value) {
    co_return value * 2;
}

Task<int> middle(int value) {
    int doubled = co_await leaf(value);
    co_return doubled + co_await leaf(1);
}

Task<std::string> failing() {
    throw std::runtime_error("leaf failed");
    co_return "";
}

Task<std::string> rethrowing(int* cleanups) {
    Cleanup cleanup{cleanups};
    co_return co_await failing();
}

TEST(TaskTest, ValuesAndErrorsTravelThroughNestedAwaits) {
    ManualExecutor executor;
    EXPECT_EQ(runTask(executor, middle(5)), 12);

    int cleanups = 0;
    EXPECT_THROW(runTask(executor, rethrowing(&cleanups)), std::runtime_error);
    EXPECT_EQ(cleanups, 1);
}

TEST(TaskTest, IsLazyAndAnUnstartedTaskIsDestroyedWithItsArguments) {
    bool ran = false;
    int cleanups = 0;
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

TEST(SpawnTest, SpawnedWorkStartsFromTheQueue) {
    ManualExecutor executor;
    bool ran = false;
    auto handle = spawn(executor, [](bool* ran) -> Task<void> {
        *ran = true;
        co_return;
    }(&ran));
    EXPECT_FALSE(ran);
    EXPECT_EQ(executor.runningOperationCount(), 1U);
    executor.runUntilIdle();
    EXPECT_TRUE(ran);
    EXPECT_TRUE(handle.isFinished());
    EXPECT_EQ(executor.runningOperationCount(), 0U);
}

Task<void> sleeper(Duration delay, std::vector<std::string>* events, std::string name) {
    co_await sleepFor(delay);
    events->push_back(name);
}

TEST(SleepTest, TimersFireInDeadlineOrderThenSchedulingOrder) {
    ManualExecutor executor;
    std::vector<std::string> events;
    spawn(executor, sleeper(30s, &events, "a"));
    spawn(executor, sleeper(10s, &events, "b"));
    spawn(executor, sleeper(30s, &events, "c"));
    spawn(executor, sleeper(0s, &events, "d"));
    executor.runUntilIdle();
    EXPECT_TRUE(events.empty());

    executor.advance(9s);
    EXPECT_EQ(events, (std::vector<std::string>{"d"}));
    executor.advance(1s);
    EXPECT_EQ(events, (std::vector<std::string>{"d", "b"}));
    executor.advance(20s);
    EXPECT_EQ(events, (std::vector<std::string>{"d", "b", "a", "c"}));
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
}

TEST(SleepTest, TimersScheduledByFiringTimersFireWithinTheSameAdvance) {
    ManualExecutor executor;
    std::vector<std::string> events;
    TaskProbe<void> probe(executor, [](std::vector<std::string>* events) -> Task<void> {
        co_await sleepFor(10s);
        events->push_back("first");
        co_await sleepFor(10s);
        events->push_back("second");
    }(&events));
    executor.advance(20s);
    EXPECT_EQ(events, (std::vector<std::string>{"first", "second"}));
    EXPECT_TRUE(probe.succeeded());
}

TEST(CancellationTest, CancelDuringASleepEndsItAtOnceAndRunsCleanup) {
    ManualExecutor executor;
    int cleanups = 0;
    bool reachedEnd = false;
    TaskProbe<void> probe(executor, [](int* cleanups, bool* reachedEnd) -> Task<void> {
        Cleanup cleanup{cleanups};
        co_await sleepFor(30s);
        *reachedEnd = true;
    }(&cleanups, &reachedEnd));
    executor.advance(5s);
    probe.cancel();
    executor.runUntilIdle();

    EXPECT_TRUE(probe.threw<CancelledError>());
    EXPECT_FALSE(reachedEnd);
    EXPECT_EQ(cleanups, 1);
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
    EXPECT_TRUE(probe.handle().isCancelled());
}

TEST(CancellationTest, CancelBeforeStartIsSeenAtTheFirstCancellationPoint) {
    ManualExecutor executor;
    std::vector<std::string> events;
    TaskProbe<void> probe(executor, [](std::vector<std::string>* events) -> Task<void> {
        const bool cancelled = co_await isCancelled();
        events->push_back(cancelled ? "cancelled" : "running");
        co_await checkCancellation();
        events->push_back("after check");
    }(&events));
    probe.cancel();
    executor.runUntilIdle();
    EXPECT_EQ(events, (std::vector<std::string>{"cancelled"}));
    EXPECT_TRUE(probe.threw<CancelledError>());
}

TEST(CancellationTest, NestedTasksSeeTheOperationsCancellation) {
    ManualExecutor executor;
    int cleanups = 0;
    auto inner = [](int* cleanups) -> Task<int> {
        Cleanup cleanup{cleanups};
        co_await sleepFor(1s);
        co_await sleepFor(1h);
        co_return 1;
    };
    auto outer = [](auto inner, int* cleanups) -> Task<int> {
        Cleanup cleanup{cleanups};
        co_return co_await inner(cleanups);
    };
    TaskProbe<int> probe(executor, outer(inner, &cleanups));
    executor.advance(2s);
    probe.cancel();
    executor.runUntilIdle();
    EXPECT_TRUE(probe.threw<CancelledError>());
    EXPECT_EQ(cleanups, 2);
}

TEST(CancellationTest, CancelAfterFinishingChangesNothing) {
    ManualExecutor executor;
    TaskProbe<int> probe(executor, leaf(2));
    executor.runUntilIdle();
    probe.cancel();
    executor.runUntilIdle();
    EXPECT_EQ(probe.value(), 4);
    EXPECT_FALSE(probe.handle().isCancelled());
}

TEST(JoinTest, JoinWaitsForTheEndHoweverItEnds) {
    ManualExecutor executor;
    std::vector<std::string> events;
    auto worker = spawn(executor, sleeper(1h, &events, "worker"));
    TaskProbe<void> joiner(executor,
                           [](TaskHandle worker, std::vector<std::string>* events) -> Task<void> {
                               worker.cancel();
                               co_await worker.join();
                               events->push_back("joined");
                               co_await worker.join(); // an ended operation is joined at once
                           }(worker, &events));
    executor.runUntilIdle();
    EXPECT_EQ(events, (std::vector<std::string>{"joined"}));
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
