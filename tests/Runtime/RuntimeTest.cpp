#include "Runtime/Cancellation.h"
#include "Runtime/Logger.h"
#include "Runtime/Observable.h"
#include "Runtime/Offload.h"
#include "Runtime/OneShotContinuation.h"
#include "Runtime/RunLoopExecutor.h"
#include "Runtime/SerialQueue.h"
#include "Runtime/Task.h"
#include "Runtime/Uuid.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using test::ManualExecutor;
using test::runTask;
using test::TaskProbe;

// Only literals and text marked public may be logged: text decoded from a secret is a string.
static_assert(!LogArgument<std::string> && !LogArgument<std::string_view> &&
              !LogArgument<const char*> && !LogArgument<std::u16string>);
static_assert(LogArgument<char[5]> && LogArgument<PublicText> && LogArgument<Uuid> &&
              LogArgument<bool>);

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

Task<void> sleeper(Duration delay, std::string* order, char name) {
    co_await sleepFor(delay);
    *order += name;
}

TEST(TaskTest, TimersFireInDeadlineOrderAndACancellationEndsSleepsRunningEveryCleanup) {
    ManualExecutor executor;
    std::string order;
    spawn(executor, sleeper(30s, &order, 'a'));
    spawn(executor, sleeper(10s, &order, 'b'));
    spawn(executor, sleeper(30s, &order, 'c'));
    spawn(executor, [](std::string* order) -> Task<void> {
        co_await sleepFor(0s);
        *order += 'd';
        co_await sleepFor(5s); // scheduled by a firing timer, due within the same advance
        *order += 'e';
    }(&order));
    EXPECT_EQ(executor.runningOperationCount(), 4U);
    EXPECT_EQ(executor.pendingTimerCount(), 0U); // nothing ran inside spawn
    executor.runUntilIdle();
    EXPECT_EQ(order, "");
    executor.advance(9s);
    EXPECT_EQ(order, "de");
    executor.advance(1s);
    EXPECT_EQ(order, "deb");
    executor.advance(20s);
    EXPECT_EQ(order, "debac");
    EXPECT_EQ(executor.runningOperationCount(), 0U);

    // A cancellation ends the sleep at once, runs every frame's cleanup and skips the rest.
    int cleanups = 0;
    std::string events;
    auto inner = [](int* cleanups) -> Task<void> {
        Cleanup cleanup{cleanups};
        co_await sleepFor(1s);
        co_await sleepFor(1h);
    };
    auto outer = [](auto inner, int* cleanups, std::string* events) -> Task<void> {
        Cleanup cleanup{cleanups};
        co_await inner(cleanups);
        *events += "reached the end ";
    };
    TaskProbe<void> probe(executor, outer(inner, &cleanups, &events));
    executor.advance(2s);
    probe.cancel();
    executor.runUntilIdle();
    EXPECT_TRUE(probe.threw<CancelledError>());
    EXPECT_TRUE(probe.handle().isCancelled());
    EXPECT_EQ(cleanups, 2);

    // After the end a cancellation changes nothing.
    TaskProbe<int> finished(executor, twice(2));
    executor.runUntilIdle();
    finished.cancel();
    executor.runUntilIdle();
    EXPECT_EQ(finished.value(), 4);
    EXPECT_FALSE(finished.handle().isCancelled());

    // A cancel before the start is seen at the first cancellation point.
    TaskProbe<void> early(executor, [](std::string* events) -> Task<void> {
        const bool cancelled = co_await isCancelled();
        *events += cancelled ? "cancelled " : "running ";
        co_await checkCancellation();
        *events += "after check ";
    }(&events));
    early.cancel();
    TaskProbe<void> sleeping(executor, sleeper(1h, &events, 's'));
    sleeping.cancel();
    // Joining an operation ends however it ends; an ended one is joined at once.
    auto worker = spawn(executor, sleeper(1h, &events, 'w'));
    TaskProbe<void> joiner(executor, [](TaskHandle worker, std::string* events) -> Task<void> {
        worker.cancel();
        co_await worker.join();
        *events += "joined";
        co_await worker.join();
    }(worker, &events));
    executor.runUntilIdle();
    EXPECT_EQ(events, "cancelled joined");
    EXPECT_TRUE(early.threw<CancelledError>());
    EXPECT_TRUE(sleeping.threw<CancelledError>());
    EXPECT_TRUE(joiner.succeeded());
}

using Captured = std::optional<OneShotContinuation<int>>;

Task<int> awaitReply(Captured* captured) {
    co_return co_await withContinuation<int>(
        [captured](OneShotContinuation<int> done) { captured->emplace(std::move(done)); });
}

TEST(TaskTest, ResultsErrorsAndRepliesTravelUpOnceAndEveryFrameGoesWithItsOwner) {
    int cleanups = 0;
    bool ran = false;
    Captured captured, orphan;
    {
        ManualExecutor executor;
        auto sum = [](int v) -> Task<int> { co_return co_await twice(v) + co_await twice(1); };
        EXPECT_EQ(runTask(executor, sum(5)), 12);
        auto rethrow = [](int* cleanups) -> Task<int> { co_return co_await failing(cleanups); };
        EXPECT_THROW(runTask(executor, rethrow(&cleanups)), std::runtime_error);
        EXPECT_EQ(cleanups, 1);

        // A reply resumes its waiter once, and from the queue.
        TaskProbe<int> probe(executor, awaitReply(&captured));
        TaskProbe<int> abandoned(executor, awaitReply(&orphan));
        executor.runUntilIdle();
        captured->resume(7);
        EXPECT_FALSE(probe.finished()) << "must not resume inside the callback";
        captured->resume(8);
        captured->resumeThrowing(std::make_exception_ptr(std::runtime_error("late")));
        EXPECT_EQ(executor.runUntilIdle(), 1U);
        EXPECT_EQ(probe.value(), 7);

        // Frames that never end, or never start, go with their owner.
        spawn(executor, [](int* cleanups) -> Task<void> {
            Cleanup cleanup{cleanups};
            co_await sleepFor(1h);
        }(&cleanups));
        executor.advance(1s);
        // These never start; their arguments live in their frames.
        spawn(executor, [](Cleanup) -> Task<void> { co_return; }(Cleanup{&cleanups}));
        auto unstarted = [](bool* ran, Cleanup) -> Task<void> {
            *ran = true;
            co_return;
        }(&ran, Cleanup{&cleanups});
        cleanups = 0; // the temporaries were moved from
        EXPECT_EQ(executor.runningOperationCount(), 3U);
    }
    EXPECT_FALSE(ran);
    EXPECT_EQ(cleanups, 3);
    orphan->resume(3); // the executor and the frame are gone: nothing to resume, no crash
}

TEST(RunLoopExecutorTest, ServesTimersInOrderOffloadedWorkAndPostsFromOtherThreads) {
    RunLoopExecutor loop;
    BackgroundQueue queue;
    std::vector<int> order;
    loop.scheduleAfter(2ms, [&] { order.push_back(2); });
    loop.scheduleAfter(1ms, [&] { order.push_back(1); });
    loop.cancelTimer(loop.scheduleAfter(1ms, [&] { order.push_back(-1); }));
    // After the timers, work runs on the queue and resumes on the main loop with the result or
    // the error; then a post from another thread ends the loop.
    spawn(loop,
          [](RunLoopExecutor& loop, BackgroundQueue& queue, std::thread::id main) -> Task<void> {
              co_await sleepFor(3ms);
              auto work = [main] { return std::this_thread::get_id() == main ? 0 : 42; };
              const int result = co_await offload(queue, work);
              EXPECT_EQ(result, 42) << "the work runs off the main thread";
              EXPECT_EQ(std::this_thread::get_id(), main);
              auto failing = [] { throw std::runtime_error("disk gone"); };
              try {
                  co_await offload(queue, failing);
                  ADD_FAILURE() << "no error";
              } catch (const std::runtime_error&) {
              }
              std::jthread([&loop] { loop.post([&loop] { loop.stop(); }); });
          }(loop, queue, std::this_thread::get_id()));
    loop.run();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(ObservableTest, WarnsBeforeEveryAssignmentAndObserversMayUnsubscribeWhileNotified) {
    Subscription first, second;
    std::string events; // "w": will change, with the old value; "a", "b": the two observers
    {
        Observable<int> value(0);
        auto will = value.subscribeWillChange([&] { events += 'w' + std::to_string(value.get()); });
        first = value.subscribe([&](const int& v) {
            events += 'a' + std::to_string(v);
            if (v == 1) {
                first.reset();
                second.reset();
            }
        });
        second = value.subscribe([&](const int& v) { events += 'b' + std::to_string(v); });
        value.set(1);
        value.set(1);
        second = value.subscribe([](const int&) {});
    }
    second.reset(); // a subscription may outlive the value
    EXPECT_EQ(events, "a0b0w0a1w1");
}

TEST(UuidTest, RandomOnesAreVersionFourAndDistinctAndParsingTakesEitherCaseOfThe36CharacterForm) {
    std::set<Uuid> seen;
    for (int index = 0; index < 1000; ++index) {
        const auto uuid = *seen.insert(Uuid::random()).first;
        EXPECT_EQ(uuid.bytes()[6] >> 4, 4);
        EXPECT_EQ(uuid.bytes()[8] >> 6, 2);
        EXPECT_EQ(Uuid::parse(uuid.toString()), uuid);
    }
    EXPECT_EQ(seen.size(), 1000U);

    const std::string canonical = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
    EXPECT_EQ(Uuid::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f")->toString(), canonical);
    for (const char* text :
         {"E621E1F8C36C495A93FC0C247A3E6E5F", "E621E1F8-C36C-495A-93FC_0C247A3E6E5F",
          "E621E1F-8C36C-495A-93FC-0C247A3E6E5F", "G621E1F8-C36C-495A-93FC-0C247A3E6E5F"}) {
        EXPECT_FALSE(Uuid::parse(text)) << text;
    }
}

} // namespace
} // namespace kestrelle
