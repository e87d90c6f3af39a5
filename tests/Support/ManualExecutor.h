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
    TimerId scheduleAfter(Duration delay, std::function<void()> work) override {
        return timers_.add(monotonic_ + std::max(delay, Duration::zero()), std::move(work));
    }
    void cancelTimer(TimerId timer) override { timers_.cancel(timer); }
    WallTime now() const override { return wallStart_ + (monotonic_ - monotonicStart); }
    MonotonicTime monotonicNow() const override { return monotonic_; }

    // Runs queued work, and work that it queues, until none is left. Timers do not fire.
    std::size_t runUntilIdle();
    // Moves virtual time forward, firing due timers in deadline order (ties in scheduling order)
    // and running the work each one queues before the next fires.
    void advance(Duration duration);
    // Moves the wall clock alone, as a user changing the date would.
    void shiftWallClock(Duration shift) { wallStart_ += shift; }

    std::size_t pendingTimerCount() const { return timers_.size(); }

private:
    mutable std::mutex mutex_;
    std::deque<std::function<void()>> ready_;
    TimerQueue timers_;
    static constexpr MonotonicTime monotonicStart = MonotonicTime{} + std::chrono::hours{1};
    MonotonicTime monotonic_ = monotonicStart;
    WallTime wallStart_;
};

} // namespace kestrelle::test
