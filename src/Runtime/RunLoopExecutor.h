#pragma once

#include "Runtime/Executor.h"
#include "Runtime/TimerQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>

namespace kestrelle {

// A portable main loop on real clocks: `run()` serves posted work and timers on the calling
// thread until `stop()`.
class RunLoopExecutor final : public Executor {
public:
    RunLoopExecutor() = default;
    ~RunLoopExecutor() override;

    void run();
    // Ends `run()` after the work item in progress. Thread-safe.
    void stop();

    void post(std::function<void()> work) override;
    TimerId scheduleAfter(Duration delay, std::function<void()> work) override;
    void cancelTimer(TimerId timer) override;
    WallTime now() const override { return std::chrono::system_clock::now(); }
    MonotonicTime monotonicNow() const override { return std::chrono::steady_clock::now(); }

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> ready_;
    TimerQueue timers_;
    bool stopping_ = false;
};

} // namespace kestrelle
