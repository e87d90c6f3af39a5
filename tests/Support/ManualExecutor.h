#pragma once

#include "Runtime/Executor.h"
#include "Runtime/TimerQueue.h"

#include <deque>
#include <mutex>

namespace kestrelle::test {

// Virtual time for tests: nothing runs until the test says so, and a 30-second timer fires the
// moment `advance(30s)` is called.
class ManualExecutor final : public Executor {
public:
    ManualExecutor();
    ~ManualExecutor() override;

    void post(std::function<void()> work) override;
    TimerId scheduleAfter(Duration delay, std::function<void()> work) override;
    void cancelTimer(TimerId timer) override;
    WallTime now() const override {
        return wallStart_ + (monotonic_ - monotonicStart_) + wallShift_;
    }
    MonotonicTime monotonicNow() const override { return monotonic_; }

    // Runs queued work, and work that it queues, until none is left. Timers do not fire.
    std::size_t runUntilIdle();
    // Moves virtual time forward, firing due timers in deadline order (ties in scheduling order)
    // and running the work each one queues before the next fires.
    void advance(Duration duration);
    // Moves the wall clock alone, as a user changing the date would.
    void shiftWallClock(Duration shift) { wallShift_ += shift; }

    std::size_t pendingTimerCount() const { return timers_.size(); }
    std::size_t queuedWorkCount() const;

private:
    mutable std::mutex mutex_;
    std::deque<std::function<void()>> ready_;
    TimerQueue timers_;
    MonotonicTime monotonicStart_;
    MonotonicTime monotonic_;
    WallTime wallStart_;
    Duration wallShift_{};
};

} // namespace kestrelle::test
