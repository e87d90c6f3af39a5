#pragma once

#include "Runtime/Executor.h"
#include "Runtime/Operation.h"
#include "Runtime/Task.h"

#include <memory>

namespace kestrelle {

// A handle on a detached operation. Dropping it neither cancels nor stops the operation.
class TaskHandle {
public:
    TaskHandle() = default;

    // Requests cooperative cancellation: the operation's current and later cancellation points
    // (sleepFor, checkCancellation) throw CancelledError. Its cleanup still runs.
    void cancel() const {
        if (operation_) {
            operation_->requestCancel();
        }
    }
    bool isCancelled() const { return operation_ && operation_->isCancelled(); }
    // An empty handle counts as finished.
    bool isFinished() const { return !operation_ || operation_->isFinished(); }

    // Awaits the end of the operation, however it ended.
    auto join() const {
        struct Awaiter {
            std::shared_ptr<detail::Operation> operation;
            bool await_ready() const noexcept { return !operation || operation->isFinished(); }
            void await_suspend(std::coroutine_handle<> waiter) {
                operation->addCompletionWaiter(waiter);
            }
            void await_resume() const noexcept {}
        };
        return Awaiter{operation_};
    }

    explicit operator bool() const { return operation_ != nullptr; }

private:
    friend TaskHandle spawn(Executor&, Task<void>);
    explicit TaskHandle(std::shared_ptr<detail::Operation> operation)
        : operation_(std::move(operation)) {}

    std::shared_ptr<detail::Operation> operation_;
};

// Starts `task` as a detached operation on `executor`; its first step runs from the queue.
// An error escaping the task is logged; a CancelledError is not.
TaskHandle spawn(Executor& executor, Task<void> task);

} // namespace kestrelle
