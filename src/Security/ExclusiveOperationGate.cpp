#include "Security/ExclusiveOperationGate.h"

#include <algorithm>

namespace kestrelle {

bool ExclusiveOperationGate::tryTake() {
    std::lock_guard lock(lock_);
    if (isHeld_) {
        return false;
    }
    isHeld_ = true;
    return true;
}

void ExclusiveOperationGate::release() {
    AcquireAwaiter* next = nullptr;
    {
        std::lock_guard lock(lock_);
        if (waiters_.empty()) {
            isHeld_ = false;
            return;
        }
        // Ownership passes straight to the oldest waiter, so no newcomer slips in between.
        next = waiters_.front();
        waiters_.pop_front();
        next->state_ = AcquireAwaiter::State::handedOver;
    }
    next->executor_->post([handle = next->handle_] { handle.resume(); });
}

bool ExclusiveOperationGate::isHeld() const {
    std::lock_guard lock(lock_);
    return isHeld_;
}

std::size_t ExclusiveOperationGate::waiterCount() const {
    std::lock_guard lock(lock_);
    return waiters_.size();
}

ExclusiveOperationGate::AcquireAwaiter::~AcquireAwaiter() {
    // Only a frame destroyed while suspended (executor teardown) gets here without owning.
    State state;
    {
        std::lock_guard lock(gate_.lock_);
        state = state_;
        if (state == State::waiting) {
            std::erase(gate_.waiters_, this);
        }
    }
    if (state == State::handedOver) {
        gate_.release();
    }
}

} // namespace kestrelle
