#include "Runtime/RunLoopExecutor.h"

namespace kestrelle {

RunLoopExecutor::~RunLoopExecutor() {
    {
        std::lock_guard lock(mutex_);
        auto dropped = std::move(ready_);
        timers_.clear();
    }
    destroyOperations();
}

void RunLoopExecutor::run() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        std::function<void()> work;
        if (!ready_.empty()) {
            work = std::move(ready_.front());
            ready_.pop_front();
        } else if (auto due = timers_.popDue(monotonicNow())) {
            work = std::move(*due);
        } else if (auto deadline = timers_.nextDeadline()) {
            wake_.wait_until(lock, *deadline);
            continue;
        } else {
            wake_.wait(lock);
            continue;
        }
        lock.unlock();
        work();
        work = nullptr;
        lock.lock();
    }
    stopping_ = false;
}

void RunLoopExecutor::stop() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
}

void RunLoopExecutor::post(std::function<void()> work) {
    {
        std::lock_guard lock(mutex_);
        ready_.push_back(std::move(work));
    }
    wake_.notify_all();
}

TimerId RunLoopExecutor::scheduleAfter(Duration delay, std::function<void()> work) {
    TimerId timer;
    {
        std::lock_guard lock(mutex_);
        timer = timers_.add(monotonicNow() + delay, std::move(work));
    }
    wake_.notify_all();
    return timer;
}

void RunLoopExecutor::cancelTimer(TimerId timer) {
    std::lock_guard lock(mutex_);
    timers_.cancel(timer);
}

} // namespace kestrelle
