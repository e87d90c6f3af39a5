#include "Runtime/SerialQueue.h"

namespace kestrelle {

BackgroundQueue::BackgroundQueue() : worker_([this] { run(); }) {}

BackgroundQueue::~BackgroundQueue() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    worker_.join();
}

void BackgroundQueue::async(std::function<void()> work) {
    {
        std::lock_guard lock(mutex_);
        work_.push_back(std::move(work));
    }
    wake_.notify_one();
}

void BackgroundQueue::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !work_.empty(); });
        if (work_.empty()) {
            return;
        }
        auto work = std::move(work_.front());
        work_.pop_front();
        lock.unlock();
        work();
        lock.lock();
    }
}

} // namespace kestrelle
