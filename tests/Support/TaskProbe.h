#pragma once

#include "Runtime/TaskHandle.h"

#include <exception>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
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

    bool finished() const { return state_->finished; }
    bool succeeded() const { return state_->finished && !state_->error; }
    void cancel() const { handle_.cancel(); }
    const TaskHandle& handle() const { return handle_; }

    // The result; fails the test and throws when the task did not return one.
    Stored& value() {
        if (!state_->value) {
            ADD_FAILURE() << "the task has not returned a value";
            throw std::logic_error("no value");
        }
        return *state_->value;
    }

    // Whether the task ended by throwing an E.
    template <class E>
    bool threw() const {
        if (!state_->error) {
            return false;
        }
        try {
            std::rethrow_exception(state_->error);
        } catch (const E&) {
            return true;
        } catch (...) {
            return false;
        }
    }
    std::exception_ptr error() const { return state_->error; }

private:
    struct State {
        bool finished = false;
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
        state->finished = true;
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
        ADD_FAILURE() << "the task is still suspended";
        throw std::logic_error("task suspended");
    }
    if (probe.error()) {
        std::rethrow_exception(probe.error());
    }
    if constexpr (!std::is_void_v<T>) {
        return std::move(probe.value());
    }
}

} // namespace kestrelle::test
