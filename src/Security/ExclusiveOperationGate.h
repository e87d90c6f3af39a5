#pragma once

#include "Runtime/Cancellation.h"

#include <coroutine>
#include <deque>
#include <mutex>
#include <utility>

namespace kestrelle {

// Runs protected operations strictly one after another, in arrival order, even though each
// suspends many times. Ownership survives the owner's suspensions, which is why this is a lock
// plus continuations rather than a main-thread object. Not re-entrant: an owner that acquires
// again waits forever.
class ExclusiveOperationGate {
public:
    // Releases the gate when destroyed, on every path.
    class Guard {
    public:
        explicit Guard(ExclusiveOperationGate& gate) : gate_(&gate) {}
        Guard(Guard&& other) noexcept : gate_(std::exchange(other.gate_, nullptr)) {}
        Guard& operator=(Guard&&) = delete;
        Guard(const Guard&) = delete;
        ~Guard() {
            if (gate_) {
                gate_->release();
            }
        }

    private:
        ExclusiveOperationGate* gate_;
    };

    class AcquireAwaiter;

    ExclusiveOperationGate() = default;
    ExclusiveOperationGate(const ExclusiveOperationGate&) = delete;
    ExclusiveOperationGate& operator=(const ExclusiveOperationGate&) = delete;

    // `auto guard = co_await gate.acquire();` returns once the caller owns the gate.
    AcquireAwaiter acquire();
    // Passes ownership to the oldest waiter, or frees the gate. Thread-safe.
    void release();

    bool isHeld() const;
    std::size_t waiterCount() const;

private:
    // True when the gate was free and is now the caller's.
    bool tryTake();

    mutable std::mutex lock_;
    bool isHeld_ = false;
    std::deque<AcquireAwaiter*> waiters_;
};

class ExclusiveOperationGate::AcquireAwaiter {
public:
    explicit AcquireAwaiter(ExclusiveOperationGate& gate) : gate_(gate) {}
    AcquireAwaiter(const AcquireAwaiter&) = delete;
    AcquireAwaiter& operator=(const AcquireAwaiter&) = delete;
    ~AcquireAwaiter();

    bool await_ready() { return gate_.tryTake(); }

    template <detail::OperationPromise Promise>
    bool await_suspend(std::coroutine_handle<Promise> handle) {
        executor_ = &detail::operationOf(handle).executor;
        handle_ = handle;
        std::lock_guard lock(gate_.lock_);
        if (!gate_.isHeld_) {
            gate_.isHeld_ = true;
            return false;
        }
        gate_.waiters_.push_back(this);
        state_ = State::waiting;
        return true;
    }

    Guard await_resume() {
        std::lock_guard lock(gate_.lock_);
        state_ = State::owning;
        return Guard{gate_};
    }

private:
    friend class ExclusiveOperationGate;
    enum class State { idle, waiting, handedOver, owning };

    ExclusiveOperationGate& gate_;
    Executor* executor_ = nullptr;
    std::coroutine_handle<> handle_;
    State state_ = State::idle;
};

inline ExclusiveOperationGate::AcquireAwaiter ExclusiveOperationGate::acquire() {
    return AcquireAwaiter{*this};
}

} // namespace kestrelle
