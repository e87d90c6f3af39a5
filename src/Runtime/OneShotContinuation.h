#pragma once

#include "Runtime/Cancellation.h"
#include "Runtime/Executor.h"

#include <coroutine>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <variant>

namespace kestrelle {

namespace detail {

template <class T>
struct ContinuationState {
    using Stored = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

    std::mutex mutex;
    std::optional<Stored> value;
    std::exception_ptr error;
    bool delivered = false;
    bool abandoned = false;
    Executor* executor = nullptr;
    std::coroutine_handle<> waiter;

    template <class Store>
    void deliver(Store store) {
        std::lock_guard lock(mutex);
        if (delivered) {
            return;
        }
        delivered = true;
        store();
        if (abandoned) {
            return;
        }
        // Posting under the lock: a waiter abandoned on the main thread is either seen here or
        // drops this closure with the executor's queue.
        executor->post([waiter = waiter] { waiter.resume(); });
    }
};

} // namespace detail

// The resuming half of a suspension that a platform completion callback ends. Copies may be
// called from any thread, any number of times: the first call resumes the waiting coroutine,
// on its executor; later calls do nothing.
template <class T>
class OneShotContinuation {
public:
    explicit OneShotContinuation(std::shared_ptr<detail::ContinuationState<T>> state)
        : state_(std::move(state)) {}

    template <class U>
    requires(!std::is_void_v<T> && std::is_convertible_v<U&&, T>) void resume(U&& value) const {
        state_->deliver([&] { state_->value.emplace(std::forward<U>(value)); });
    }
    void resume() const requires std::is_void_v<T> {
        state_->deliver([&] { state_->value.emplace(); });
    }
    void resumeThrowing(std::exception_ptr error) const {
        state_->deliver([&] { state_->error = std::move(error); });
    }

private:
    std::shared_ptr<detail::ContinuationState<T>> state_;
};

namespace detail {

template <class T, class Start>
class ContinuationAwaiter {
public:
    explicit ContinuationAwaiter(Start start)
        : start_(std::move(start)), state_(std::make_shared<ContinuationState<T>>()) {}
    ContinuationAwaiter(const ContinuationAwaiter&) = delete;
    ContinuationAwaiter& operator=(const ContinuationAwaiter&) = delete;
    ~ContinuationAwaiter() {
        std::lock_guard lock(state_->mutex);
        state_->abandoned = true;
    }

    bool await_ready() const noexcept { return false; }

    template <OperationPromise Promise>
    void await_suspend(std::coroutine_handle<Promise> handle) {
        {
            std::lock_guard lock(state_->mutex);
            state_->executor = &operationOf(handle).executor;
            state_->waiter = handle;
        }
        start_(OneShotContinuation<T>{state_});
    }

    T await_resume() {
        std::lock_guard lock(state_->mutex);
        if (state_->error) {
            std::rethrow_exception(state_->error);
        }
        if constexpr (!std::is_void_v<T>) {
            return std::move(*state_->value);
        }
    }

private:
    Start start_;
    std::shared_ptr<ContinuationState<T>> state_;
};

} // namespace detail

// Suspends until `start`'s continuation is resumed:
//   auto reply = co_await withContinuation<Reply>([&](OneShotContinuation<Reply> done) {
//       platform.evaluate(std::move(done));
//   });
// The coroutine always resumes from the executor's queue, never inside the callback.
template <class T, class Start>
auto withContinuation(Start start) {
    return detail::ContinuationAwaiter<T, Start>{std::move(start)};
}

} // namespace kestrelle
