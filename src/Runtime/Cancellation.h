#pragma once

#include "Runtime/Executor.h"
#include "Runtime/Operation.h"
#include "Runtime/Task.h"

#include <coroutine>
#include <optional>

namespace kestrelle {

namespace detail {

template <class Promise>
Operation& operationOf(std::coroutine_handle<Promise> handle) {
    assert(handle.promise().operation && "awaited outside a spawned operation");
    return *handle.promise().operation;
}

class SleepAwaiter {
public:
    explicit SleepAwaiter(Duration delay) : delay_(delay) {}
    SleepAwaiter(const SleepAwaiter&) = delete;
    SleepAwaiter& operator=(const SleepAwaiter&) = delete;
    ~SleepAwaiter() { disarm(); }

    bool await_ready() const noexcept { return false; }

    template <OperationPromise Promise>
    bool await_suspend(std::coroutine_handle<Promise> handle) {
        operation_ = &operationOf(handle);
        if (operation_->isCancelled()) {
            cancelled_ = true;
            return false;
        }
        Executor& executor = operation_->executor;
        timer_ = executor.scheduleAfter(delay_, [this, handle] {
            timer_.reset();
            operation_->clearCancelHandler();
            handle.resume();
        });
        operation_->setCancelHandler([this, handle, &executor] {
            disarm();
            cancelled_ = true;
            executor.post([handle] { handle.resume(); });
        });
        return true;
    }

    void await_resume() const {
        if (cancelled_) {
            throw CancelledError{};
        }
    }

private:
    void disarm() {
        if (timer_) {
            operation_->executor.cancelTimer(*std::exchange(timer_, std::nullopt));
            operation_->clearCancelHandler();
        }
    }

    Duration delay_;
    Operation* operation_ = nullptr;
    std::optional<TimerId> timer_;
    bool cancelled_ = false;
};

// Reads the operation's state without suspending.
template <class Result, class Read>
struct InspectAwaiter {
    Read read;
    Result result{};
    bool await_ready() const noexcept { return false; }
    template <OperationPromise Promise>
    bool await_suspend(std::coroutine_handle<Promise> handle) {
        result = read(operationOf(handle));
        return false;
    }
    Result await_resume() { return std::move(result); }
};

} // namespace detail

// Suspends for `delay` on the monotonic clock; throws CancelledError at once when the operation
// is or becomes cancelled.
inline detail::SleepAwaiter sleepFor(Duration delay) {
    return detail::SleepAwaiter{delay};
}

// `co_await isCancelled()`: whether cancellation of the current operation was requested.
inline auto isCancelled() {
    auto read = [](detail::Operation& operation) { return operation.isCancelled(); };
    return detail::InspectAwaiter<bool, decltype(read)>{read};
}

// `co_await checkCancellation()`: throws CancelledError when cancellation was requested.
inline auto checkCancellation() {
    auto read = [](detail::Operation& operation) {
        if (operation.isCancelled()) {
            throw CancelledError{};
        }
        return true;
    };
    return detail::InspectAwaiter<bool, decltype(read)>{read};
}

// `co_await currentExecutor()`: the executor the current operation runs on.
inline auto currentExecutor() {
    auto read = [](detail::Operation& operation) { return &operation.executor; };
    return detail::InspectAwaiter<Executor*, decltype(read)>{read};
}

} // namespace kestrelle
