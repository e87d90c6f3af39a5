#include "Runtime/Offload.h"
#include "Runtime/OneShotContinuation.h"
#include "Runtime/RunLoopExecutor.h"
#include "Runtime/SerialQueue.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <thread>

namespace kestrelle {
namespace {

using test::ManualExecutor;
using test::TaskProbe;

Task<int> awaitReply(std::optional<OneShotContinuation<int>>* captured) {
    co_return co_await withContinuation<int>(
        [captured](OneShotContinuation<int> done) { captured->emplace(std::move(done)); });
}

TEST(OneShotContinuationTest, ResumesExactlyOnceFromTheQueue) {
    ManualExecutor executor;
    std::optional<OneShotContinuation<int>> captured;
    TaskProbe<int> probe(executor, awaitReply(&captured));
    executor.runUntilIdle();
    ASSERT_TRUE(captured);
    EXPECT_FALSE(probe.finished());

    captured->resume(7);
    EXPECT_FALSE(probe.finished()) << "must not resume inside the callback";
    captured->resume(8);
    captured->resumeThrowing(std::make_exception_ptr(std::runtime_error("late")));
    EXPECT_EQ(executor.runUntilIdle(), 1U);
    EXPECT_EQ(probe.value(), 7);
}

TEST(OneShotContinuationTest, ACallbackInsideStartAndAnErrorBothWork) {
    ManualExecutor executor;
    TaskProbe<void> immediate(executor, []() -> Task<void> {
        co_await withContinuation<void>([](OneShotContinuation<void> done) { done.resume(); });
    }());
    TaskProbe<int> failed(executor, []() -> Task<int> {
        co_return co_await withContinuation<int>([](OneShotContinuation<int> done) {
            done.resumeThrowing(std::make_exception_ptr(std::runtime_error("denied")));
        });
    }());
    executor.runUntilIdle();
    EXPECT_TRUE(immediate.succeeded());
    EXPECT_TRUE(failed.threw<std::runtime_error>());
}

TEST(OneShotContinuationTest, RacingCallbacksFromOtherThreadsResumeOnce) {
    ManualExecutor executor;
    std::optional<OneShotContinuation<int>> captured;
    TaskProbe<int> probe(executor, awaitReply(&captured));
    executor.runUntilIdle();
    {
        std::jthread first([done = *captured] { done.resume(1); });
        std::jthread second([done = *captured] { done.resume(2); });
    }
    EXPECT_FALSE(probe.finished());
    EXPECT_EQ(executor.runUntilIdle(), 1U);
    ASSERT_TRUE(probe.succeeded());
    EXPECT_TRUE(probe.value() == 1 || probe.value() == 2);
}

TEST(OneShotContinuationTest, ACallbackAfterTheWaiterIsGoneIsIgnored) {
    std::optional<OneShotContinuation<int>> captured;
    {
        ManualExecutor executor;
        TaskProbe<int> probe(executor, awaitReply(&captured));
        executor.runUntilIdle();
    }
    captured->resume(3); // the executor and the frame are gone: nothing to resume, no crash
}

TEST(OffloadTest, RunsOnTheQueueAndResumesOnTheMainLoop) {
    RunLoopExecutor loop;
    BackgroundQueue queue;
    const auto mainThread = std::this_thread::get_id();
    std::thread::id workThread;
    std::thread::id resumedOn;
    bool errorSeen = false;
    int result = 0;

    spawn(loop,
          [](RunLoopExecutor& loop, BackgroundQueue& queue, std::thread::id& workThread,
             std::thread::id& resumedOn, int& result, bool& errorSeen) -> Task<void> {
              result = co_await offload(queue, [&] {
                  workThread = std::this_thread::get_id();
                  return 41 + 1;
              });
              resumedOn = std::this_thread::get_id();
              try {
                  co_await offload(queue, []() -> void { throw std::runtime_error("disk gone"); });
              } catch (const std::runtime_error&) {
                  errorSeen = true;
              }
              loop.stop();
          }(loop, queue, workThread, resumedOn, result, errorSeen));
    loop.run();

    EXPECT_EQ(result, 42);
    EXPECT_NE(workThread, mainThread);
    EXPECT_EQ(resumedOn, mainThread);
    EXPECT_TRUE(errorSeen);
}

TEST(RunLoopExecutorTest, ServesPostsFromOtherThreadsAndTimersInOrder) {
    using namespace std::chrono_literals;
    RunLoopExecutor loop;
    std::vector<int> order;
    loop.scheduleAfter(2ms, [&] { order.push_back(2); });
    loop.scheduleAfter(1ms, [&] { order.push_back(1); });
    const auto cancelled = loop.scheduleAfter(1ms, [&] { order.push_back(-1); });
    loop.cancelTimer(cancelled);
    loop.scheduleAfter(3ms, [&] {
        order.push_back(3);
        std::jthread([&loop] { loop.post([&loop] { loop.stop(); }); });
    });
    loop.run();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

} // namespace
} // namespace kestrelle
