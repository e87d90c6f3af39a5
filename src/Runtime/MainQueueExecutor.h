#pragma once

#include "Runtime/Executor.h"

#include <cstdint>
#include <memory>
#include <unordered_set>

namespace kestrelle {

// The app's executor: the main thread's event loop, with timers on the same loop. `post` may be
// called from any thread; the rest from the main thread. Implemented over the main dispatch
// queue (MainQueueExecutor_mac.mm) and over the Qt event loop (MainQueueExecutor_linux.cpp).
class MainQueueExecutor final : public Executor {
public:
    MainQueueExecutor();
    ~MainQueueExecutor() override;

    void post(std::function<void()> work) override;
    TimerId scheduleAfter(Duration delay, std::function<void()> work) override;
    void cancelTimer(TimerId timer) override;
    WallTime now() const override { return std::chrono::system_clock::now(); }
    MonotonicTime monotonicNow() const override { return std::chrono::steady_clock::now(); }

private:
    struct Timers {
        std::uint64_t nextId = 1;
        std::unordered_set<std::uint64_t> pending;
    };
    // Shared with blocks already handed to the queue, which may run after the executor is gone.
    std::shared_ptr<Timers> timers_;
    std::shared_ptr<bool> alive_;
};

} // namespace kestrelle
