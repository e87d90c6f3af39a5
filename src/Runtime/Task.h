#pragma once

#include <cassert>
#include <coroutine>
#include <exception>
#include <type_traits>
#include <utility>
#include <variant>

namespace kestrelle {

namespace detail {
class Operation;
}

// Thrown at a cancellation point of an operation whose cancellation was requested.
// Never shown to the user.
class CancelledError : public std::exception {
public:
    const char* what() const noexcept override { return "The operation was cancelled."; }
};

template <class T = void>
class Task;

namespace detail {

class PromiseBase {
public:
    // The detached operation this coroutine runs in; inherited from whoever awaits it.
    Operation* operation = nullptr;
    std::coroutine_handle<> continuation;

    std::suspend_always initial_suspend() noexcept { return {}; }

    struct FinalAwaiter {
        bool await_ready() noexcept { return false; }
        template <class Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> self) noexcept {
            auto next = self.promise().continuation;
            return next ? next : std::noop_coroutine();
        }
        void await_resume() noexcept {}
    };
    FinalAwaiter final_suspend() noexcept { return {}; }
};

template <class T>
class Promise : public PromiseBase {
public:
    Task<T> get_return_object() noexcept;
    void unhandled_exception() noexcept { result_.template emplace<2>(std::current_exception()); }
    template <class U>
    requires std::is_convertible_v<U&&, T>
    void return_value(U&& value) { result_.template emplace<1>(std::forward<U>(value)); }
    T takeResult() {
        if (result_.index() == 2) {
            std::rethrow_exception(std::get<2>(result_));
        }
        assert(result_.index() == 1);
        return std::move(std::get<1>(result_));
    }

private:
    std::variant<std::monostate, T, std::exception_ptr> result_;
};

template <>
class Promise<void> : public PromiseBase {
public:
    Task<void> get_return_object() noexcept;
    void unhandled_exception() noexcept { exception_ = std::current_exception(); }
    void return_void() noexcept {}
    void takeResult() {
        if (exception_) {
            std::rethrow_exception(exception_);
        }
    }

private:
    std::exception_ptr exception_;
};

// Awaitables that need the operation they suspend (its executor, its cancellation) use this.
template <class Promise>
concept OperationPromise = std::is_base_of_v<PromiseBase, Promise>;

} // namespace detail

// A lazy coroutine: it starts when awaited, is awaited once, and rethrows what its body threw.
// Dropping a Task that never ran destroys its frame.
template <class T>
class [[nodiscard]] Task {
public:
    using promise_type = detail::Promise<T>;
    using Handle = std::coroutine_handle<promise_type>;

    Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, {})) {}
    Task& operator=(Task&& other) noexcept {
        if (this != &other) {
            destroy();
            handle_ = std::exchange(other.handle_, {});
        }
        return *this;
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() { destroy(); }

    class Awaiter {
    public:
        explicit Awaiter(Handle child) noexcept : child_(child) {}
        bool await_ready() const noexcept { return false; }
        template <detail::OperationPromise Parent>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Parent> parent) noexcept {
            child_.promise().operation = parent.promise().operation;
            child_.promise().continuation = parent;
            return child_;
        }
        T await_resume() { return child_.promise().takeResult(); }

    private:
        Handle child_;
    };

    Awaiter operator co_await() && noexcept {
        assert(handle_ && !handle_.promise().continuation && "a Task is awaited once");
        return Awaiter{handle_};
    }

    // For the runtime's own use: hands the frame over to a new owner.
    Handle release() noexcept { return std::exchange(handle_, {}); }

private:
    friend class detail::Promise<T>;
    explicit Task(Handle handle) noexcept : handle_(handle) {}
    void destroy() noexcept {
        if (handle_) {
            handle_.destroy();
            handle_ = {};
        }
    }

    Handle handle_;
};

namespace detail {

template <class T>
Task<T> Promise<T>::get_return_object() noexcept {
    return Task<T>{std::coroutine_handle<Promise<T>>::from_promise(*this)};
}

inline Task<void> Promise<void>::get_return_object() noexcept {
    return Task<void>{std::coroutine_handle<Promise<void>>::from_promise(*this)};
}

} // namespace detail

} // namespace kestrelle
