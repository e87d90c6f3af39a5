#include "Runtime/TaskHandle.h"

#include "Runtime/Logger.h"

namespace kestrelle {
namespace detail {

namespace {

class RootTask {
public:
    struct promise_type : PromiseBase {
        RootTask get_return_object() noexcept {
            return RootTask{std::coroutine_handle<promise_type>::from_promise(*this)};
        }
        // The frame frees itself once the operation has been told it is complete.
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() noexcept { operation->complete(); }
        void unhandled_exception() noexcept { std::terminate(); }
    };
    std::coroutine_handle<promise_type> handle;
};

RootTask runDetached(Task<void> task) {
    try {
        co_await std::move(task);
    } catch (const CancelledError&) {
    } catch (const std::exception&) {
        Logger("Runtime").error("A detached operation ended with an unhandled error");
    } catch (...) {
        Logger("Runtime").error("A detached operation ended with an unknown error");
    }
}

} // namespace

void Operation::requestCancel() {
    if (cancelRequested_ || finished_) {
        return;
    }
    cancelRequested_ = true;
    if (auto handler = std::exchange(cancelHandler_, nullptr)) {
        handler();
    }
}

void Operation::start(std::coroutine_handle<> root) {
    root_ = root;
    executor.adopt(shared_from_this());
    executor.post([weak = weak_from_this()] {
        if (auto self = weak.lock(); self && self->root_) {
            self->root_.resume();
        }
    });
}

void Operation::complete() {
    auto self = shared_from_this();
    finished_ = true;
    root_ = {};
    cancelHandler_ = nullptr;
    for (auto waiter : std::exchange(completionWaiters_, {})) {
        executor.post([waiter] { waiter.resume(); });
    }
    executor.forget(this);
}

void Operation::destroyFrame() {
    if (auto root = std::exchange(root_, {})) {
        root.destroy();
    }
}

} // namespace detail

TaskHandle spawn(Executor& executor, Task<void> task) {
    auto operation = std::make_shared<detail::Operation>(executor);
    auto root = detail::runDetached(std::move(task)).handle;
    root.promise().operation = operation.get();
    operation->start(root);
    return TaskHandle{std::move(operation)};
}

Executor::~Executor() = default;

void Executor::adopt(std::shared_ptr<detail::Operation> operation) {
    operations_.push_back(std::move(operation));
}

void Executor::forget(const detail::Operation* operation) {
    std::erase_if(operations_, [operation](const auto& each) { return each.get() == operation; });
}

void Executor::destroyOperations() {
    // Cleanup of one frame may touch another operation; take them out of the list first.
    auto operations = std::exchange(operations_, {});
    for (auto& operation : operations) {
        operation->destroyFrame();
    }
}

} // namespace kestrelle
