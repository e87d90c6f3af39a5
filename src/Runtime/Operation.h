#pragma once

#include "Runtime/Executor.h"

#include <coroutine>
#include <functional>
#include <memory>
#include <vector>

namespace kestrelle::detail {

// The shared state of one detached operation: the root frame, its cancellation request and
// who waits for it to finish. Main-thread only.
class Operation : public std::enable_shared_from_this<Operation> {
public:
    explicit Operation(Executor& executor) : executor(executor) {}
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    ~Operation() { destroyFrame(); }

    Executor& executor;

    bool isCancelled() const { return cancelRequested_; }
    bool isFinished() const { return finished_; }

    // Marks the operation cancelled and wakes the suspension listening for it, if any.
    void requestCancel();
    // The one suspension in progress that wants to end early on cancellation.
    void setCancelHandler(std::function<void()> handler) { cancelHandler_ = std::move(handler); }
    void clearCancelHandler() { cancelHandler_ = nullptr; }

    void addCompletionWaiter(std::coroutine_handle<> waiter) {
        completionWaiters_.push_back(waiter);
    }

    // Registers with the executor and queues the first resumption of `root`.
    void start(std::coroutine_handle<> root);
    // Called by the root frame as it finishes; the frame then destroys itself.
    void complete();
    // Destroys a frame that never finished (executor teardown).
    void destroyFrame();

private:
    std::coroutine_handle<> root_;
    bool cancelRequested_ = false;
    bool finished_ = false;
    std::function<void()> cancelHandler_;
    std::vector<std::coroutine_handle<>> completionWaiters_;
};

} // namespace kestrelle::detail
