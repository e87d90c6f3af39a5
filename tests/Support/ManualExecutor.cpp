#include "Support/ManualExecutor.h"

#include <gtest/gtest.h>
#include <utility>

namespace kestrelle::test {

namespace {
// A fixed date keeps wall-clock arithmetic in tests reproducible: 2026-01-01 00:00:00 UTC.
constexpr auto fixedWallStart = std::chrono::sys_seconds{std::chrono::seconds{1767225600}};
// Tests that loop forever fail instead of hanging.
constexpr std::size_t workLimit = 1'000'000;
} // namespace

ManualExecutor::ManualExecutor()
    : wallStart_(std::chrono::time_point_cast<WallTime::duration>(fixedWallStart)) {}

ManualExecutor::~ManualExecutor() {
    // Work dropped here may post more; it finds an empty queue.
    std::exchange(ready_, {});
    timers_.clear();
    destroyOperations();
}

void ManualExecutor::post(std::function<void()> work) {
    std::lock_guard lock(mutex_);
    ready_.push_back(std::move(work));
}

std::size_t ManualExecutor::runUntilIdle() {
    std::size_t count = 0;
    for (;;) {
        std::function<void()> work;
        {
            std::lock_guard lock(mutex_);
            if (ready_.empty()) {
                return count;
            }
            work = std::move(ready_.front());
            ready_.pop_front();
        }
        work();
        if (++count == workLimit) {
            ADD_FAILURE() << "runUntilIdle: work keeps queueing more work";
            return count;
        }
    }
}

void ManualExecutor::advance(Duration duration) {
    const auto target = monotonic_ + duration;
    runUntilIdle();
    for (auto due = timers_.nextDeadline(); due && *due <= target; due = timers_.nextDeadline()) {
        monotonic_ = std::max(monotonic_, *due);
        (*timers_.popDue(monotonic_))();
        runUntilIdle();
    }
    monotonic_ = target;
}

} // namespace kestrelle::test
