#pragma once

#include "Runtime/SerialQueue.h"
#include "Support/ManualExecutor.h"

#include <algorithm>
#include <functional>

namespace kestrelle::test {

// Background work that takes a while in virtual time: each item runs once the delay chosen for
// it has passed, and never before the items queued ahead of it.
class DelayedQueue final : public SerialQueue {
public:
    DelayedQueue(ManualExecutor& executor, std::function<Duration()> nextDelay)
        : executor_(executor), nextDelay_(std::move(nextDelay)) {}

    void async(std::function<void()> work) override {
        done_ = std::max(done_, executor_.monotonicNow() + nextDelay_());
        ++pending_;
        executor_.scheduleAfter(done_ - executor_.monotonicNow(), [this, work = std::move(work)] {
            --pending_;
            work();
        });
    }

    int pendingCount() const { return pending_; }

private:
    ManualExecutor& executor_;
    std::function<Duration()> nextDelay_;
    MonotonicTime done_;
    int pending_ = 0;
};

} // namespace kestrelle::test
