#include "Runtime/MainQueueExecutor.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QTimer>

namespace kestrelle {

MainQueueExecutor::MainQueueExecutor()
    : timers_(std::make_shared<Timers>()), alive_(std::make_shared<bool>(true)) {}

MainQueueExecutor::~MainQueueExecutor() {
    timers_->pending.clear();
    destroyOperations();
}

void MainQueueExecutor::post(std::function<void()> work) {
    // Queued to the application object, so it runs on the main thread whoever posts.
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [alive = std::weak_ptr<bool>(alive_), work = std::move(work)] {
            if (alive.lock()) {
                work();
            }
        },
        Qt::QueuedConnection);
}

TimerId MainQueueExecutor::scheduleAfter(Duration delay, std::function<void()> work) {
    const auto id = timers_->nextId++;
    timers_->pending.insert(id);
    // Rounded up: a timer must never fire before its time.
    const auto milliseconds =
        std::chrono::ceil<std::chrono::milliseconds>(std::max(delay, Duration::zero()));
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, QCoreApplication::instance(),
                       [timers = std::weak_ptr<Timers>(timers_), id, work = std::move(work)] {
                           // A cancelled timer still fires; it finds its id gone.
                           if (const auto live = timers.lock(); live && live->pending.erase(id)) {
                               work();
                           }
                       });
    return TimerId{id};
}

void MainQueueExecutor::cancelTimer(TimerId timer) {
    timers_->pending.erase(static_cast<std::uint64_t>(timer));
}

} // namespace kestrelle
