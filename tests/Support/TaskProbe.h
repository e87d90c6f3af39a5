#pragma once

#include "Runtime/TaskHandle.h"

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <variant>

namespace kestrelle::test {

// Spawns a task and records how it ended, so a test can drive virtual time and then look.
template <class T>
class TaskProbe {
public:
    using Stored = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

    TaskProbe(Executor& executor, Task<T> task)
        : state_(std::make_shared<State>()),
          handle_(spawn(executor, record(std::move(task), state_))) {}

    bool finished() const { return state_->value || state_->error; }
    bool succeeded() const { return state_->value.has_value(); }
    void cancel() const { handle_.cancel(); }
    const TaskHandle& handle() const { return handle_; }
    std::exception_ptr error() const { return state_->error; }

    // The result; throws when the task did not return one.
    Stored& value() { return state_->value.value(); }

    // Whether the task ended by throwing an E.
    template <class E>
    bool threw() const {
        try {
            if (state_->error) {
                std::rethrow_exception(state_->error);
            }
        } catch (const E&) {
            return true;
        } catch (...) {
        }
        return false;
    }

private:
    struct State {
        std::optional<Stored> value;
        std::exception_ptr error;
    };

    static Task<void> record(Task<T> task, std::shared_ptr<State> state) {
        try {
            if constexpr (std::is_void_v<T>) {
                co_await std::move(task);
                state->value.emplace();
            } else {
                state->value.emplace(co_await std::move(task));
            }
        } catch (...) {
            state->error = std::current_exception();
        }
    }

    std::shared_ptr<State> state_;
    TaskHandle handle_;
};

// Runs a task that needs no timers to the end and returns its result, rethrowing its error.
template <class Executor, class T>
T runTask(Executor& executor, Task<T> task) {
    TaskProbe<T> probe(executor, std::move(task));
    executor.runUntilIdle();
    if (!probe.finished()) {
        throw std::logic_error("runTask: the task is still suspended");
    }
    if (probe.error()) {
        std::rethrow_exception(probe.error());
    }
    if constexpr (!std::is_void_v<T>) {
        return std::move(probe.value());
    }
}

} // namespace kestrelle::test
