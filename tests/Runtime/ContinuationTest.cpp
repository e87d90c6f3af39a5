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
using Captured = std::optional<OneShotContinuation<int>>;

Task<int> awaitReply(Captured* captured) {
    co_return co_await withContinuation<int>(
        [captured](OneShotContinuation<int> done) { captured->emplace(std::move(done)); });
}

TEST(OneShotContinuationTest, ResumesExactlyOnceFromTheQueueAndNeverAfterTheWaiterIsGone) {
    Captured captured, orphan;
    {
        ManualExecutor executor;
        TaskProbe<int> probe(executor, awaitReply(&captured));
        TaskProbe<int> abandoned(executor, awaitReply(&orphan));
        executor.runUntilIdle();
        captured->resume(7);
        EXPECT_FALSE(probe.finished()) << "must not resume inside the callback";
        captured->resume(8);
        captured->resumeThrowing(std::make_exception_ptr(std::runtime_error("late")));
        EXPECT_EQ(executor.runUntilIdle(), 1U);
        EXPECT_EQ(probe.value(), 7);
    }
    orphan->resume(3); // the executor and the frame are gone: nothing to resume, no crash
}

TEST(OneShotContinuationTest, ACallbackInsideStartAnErrorAndRacingThreadsEachResumeOnce) {
    ManualExecutor executor;
    TaskProbe<int> failed(executor, []() -> Task<int> {
        co_return co_await withContinuation<int>([](OneShotContinuation<int> done) {
            done.resumeThrowing(std::make_exception_ptr(std::runtime_error("denied")));
        });
    }());
    TaskProbe<void> immediate(executor, []() -> Task<void> {
        co_await withContinuation<void>([](OneShotContinuation<void> done) { done.resume(); });
    }());
    Captured captured;
    TaskProbe<int> raced(executor, awaitReply(&captured));
    executor.runUntilIdle();
    EXPECT_TRUE(failed.threw<std::runtime_error>());
    EXPECT_TRUE(immediate.succeeded());
    {
        std::jthread first([done = *captured] { done.resume(1); });
        std::jthread second([done = *captured] { done.resume(2); });
    }
    EXPECT_FALSE(raced.finished());
    EXPECT_EQ(executor.runUntilIdle(), 1U);
    EXPECT_TRUE(raced.value() == 1 || raced.value() == 2);
}

TEST(OffloadTest, RunsOnTheQueueAndResumesOnTheMainLoopWithTheResultOrTheError) {
    RunLoopExecutor loop;
    BackgroundQueue queue;
    struct Seen {
        std::thread::id work, resumed;
        int result = 0;
        bool error = false;
    } seen;
    spawn(loop, [](RunLoopExecutor& loop, BackgroundQueue& queue, Seen& seen) -> Task<void> {
        auto work = [&seen] {
            seen.work = std::this_thread::get_id();
            return 42;
        };
        seen.result = co_await offload(queue, work);
        seen.resumed = std::this_thread::get_id();
        try {
            co_await offload(queue, []() -> void { throw std::runtime_error("disk gone"); });
        } catch (const std::runtime_error&) {
            seen.error = true;
        }
        loop.stop();
    }(loop, queue, seen));
    loop.run();
    EXPECT_EQ(seen.result, 42);
    EXPECT_NE(seen.work, std::this_thread::get_id());
    EXPECT_EQ(seen.resumed, std::this_thread::get_id());
    EXPECT_TRUE(seen.error);
}

TEST(RunLoopExecutorTest, ServesPostsFromOtherThreadsAndTimersInOrder) {
    using namespace std::chrono_literals;
    RunLoopExecutor loop;
    std::vector<int> order;
    loop.scheduleAfter(2ms, [&] { order.push_back(2); });
    loop.scheduleAfter(1ms, [&] { order.push_back(1); });
    loop.cancelTimer(loop.scheduleAfter(1ms, [&] { order.push_back(-1); }));
    loop.scheduleAfter(3ms, [&] {
        order.push_back(3);
        std::jthread([&loop] { loop.post([&loop] { loop.stop(); }); });
    });
    loop.run();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

} // namespace
} // namespace kestrelle
