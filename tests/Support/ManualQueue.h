#pragma once

#include "Runtime/SerialQueue.h"

#include <deque>

namespace kestrelle::test {

// Background work waits until the test runs it, so that something can happen meanwhile; or,
// with `runsAtOnce`, runs inside `async`.
class ManualQueue final : public SerialQueue {
public:
    void async(std::function<void()> work) override {
        runsAtOnce ? work() : pending_.push_back(std::move(work));
    }

    std::size_t runAll() {
        std::size_t count = 0;
        for (; !pending_.empty(); ++count) {
            auto work = std::move(pending_.front());
            pending_.pop_front();
            work();
        }
        return count;
    }
    std::size_t pendingCount() const { return pending_.size(); }

    bool runsAtOnce = false;

private:
    std::deque<std::function<void()>> pending_;
};

} // namespace kestrelle::test
