#include "Runtime/MainQueueExecutor.h"

#include <dispatch/dispatch.h>

namespace kestrelle {

MainQueueExecutor::MainQueueExecutor()
    : timers_(std::make_shared<Timers>()), alive_(std::make_shared<bool>(true)) {}

MainQueueExecutor::~MainQueueExecutor() {
    timers_->pending.clear();
    destroyOperations();
}

void MainQueueExecutor::post(std::function<void()> work) {
    auto shared = std::make_shared<std::function<void()>>(std::move(work));
    std::weak_ptr<bool> alive = alive_;
    dispatch_async(dispatch_get_main_queue(), ^{
      if (alive.lock()) {
          (*shared)();
      }
    });
}

TimerId MainQueueExecutor::scheduleAfter(Duration delay, std::function<void()> work) {
    const auto id = timers_->nextId++;
    timers_->pending.insert(id);
    auto shared = std::make_shared<std::function<void()>>(std::move(work));
    std::weak_ptr<Timers> weakTimers = timers_;
    const auto nanoseconds =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::max(delay, Duration::zero()));
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, static_cast<int64_t>(nanoseconds.count())),
                   dispatch_get_main_queue(), ^{
                     auto timers = weakTimers.lock();
                     // A cancelled timer's block still runs; it finds its id gone.
                     if (timers && timers->pending.erase(id) == 1) {
                         (*shared)();
                     }
                   });
    return TimerId{id};
}

void MainQueueExecutor::cancelTimer(TimerId timer) {
    timers_->pending.erase(static_cast<std::uint64_t>(timer));
}

} // namespace kestrelle
