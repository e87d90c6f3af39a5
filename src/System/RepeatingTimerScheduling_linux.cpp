#include "System/RepeatingTimerScheduling_linux.h"

#include <QTimer>
#include <memory>

namespace kestrelle {

Subscription QtRepeatingTimers::scheduleRepeating(Duration interval, Duration tolerance,
                                                  std::function<void()> tick) {
    auto timer = std::make_shared<QTimer>();
    timer->setTimerType(tolerance >= std::chrono::seconds{1} ? Qt::CoarseTimer : Qt::PreciseTimer);
    timer->setInterval(std::chrono::ceil<std::chrono::milliseconds>(interval));
    QObject::connect(timer.get(), &QTimer::timeout, std::move(tick));
    timer->start();
    return Subscription([timer] { timer->stop(); });
}

} // namespace kestrelle
