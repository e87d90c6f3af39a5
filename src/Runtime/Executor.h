#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace kestrelle {

using WallTime = std::chrono::system_clock::time_point;
using MonotonicTime = std::chrono::steady_clock::time_point;
using Duration = std::chrono::steady_clock::duration;

enum class TimerId : std::uint64_t {};

namespace detail {
class Operation;
}

// The main thread's executor and its one clock. All of Kestrelle's state lives on the thread
// that runs this executor; only `post` may be called from other threads.
class Executor {
public:
    Executor() = default;
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;
    virtual ~Executor();

    // Runs `work` on the executor's thread after the work already queued. Thread-safe.
    virtual void post(std::function<void()> work) = 0;
    // Runs `work` once `delay` has passed on the monotonic clock.
    virtual TimerId scheduleAfter(Duration delay, std::function<void()> work) = 0;
    // Forgets a timer that has not fired yet; a fired or unknown id is ignored.
    virtual void cancelTimer(TimerId timer) = 0;

    // Wall time, for approval ages, expiry dates and periods the user lives through: it counts
    // time asleep, and it may jump.
    virtual WallTime now() const = 0;
    // Monotonic time, which timers follow. It may stand still while the computer sleeps, so a
    // timer measures time awake.
    virtual MonotonicTime monotonicNow() const = 0;

    // Detached operations started by `spawn` that have not finished yet.
    std::size_t runningOperationCount() const { return operations_.size(); }

protected:
    // Destroys the frames of operations that never finished, running their cleanup. Every
    // implementation calls this first in its destructor, after dropping queued work.
    void destroyOperations();

private:
    friend class detail::Operation;
    void adopt(std::shared_ptr<detail::Operation> operation);
    void forget(const detail::Operation* operation);

    std::vector<std::shared_ptr<detail::Operation>> operations_;
};

} // namespace kestrelle
