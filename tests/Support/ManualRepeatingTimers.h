#pragma once

#include "Support/ManualExecutor.h"
#include "System/RepeatingTimerScheduling.h"

#include <memory>
#include <optional>
#include <vector>

namespace kestrelle::test {

// Repeating timers in the manual executor's virtual time, ignoring tolerance but recording it.
class ManualRepeatingTimers final : public RepeatingTimerScheduling {
public:
    struct Request {
        Duration interval;
        Duration tolerance;
    };

    explicit ManualRepeatingTimers(ManualExecutor& executor) : executor_(executor) {}

    Subscription scheduleRepeating(Duration interval, Duration tolerance,
                                   std::function<void()> tick) override {
        requests.push_back({interval, tolerance});
        auto timer = std::make_shared<Timer>(Timer{executor_, interval, std::move(tick), {}});
        arm(timer);
        return Subscription([timer] {
            if (timer->pending) {
                timer->executor.cancelTimer(*timer->pending);
                timer->pending.reset();
            }
        });
    }

    std::vector<Request> requests;

private:
    struct Timer {
        ManualExecutor& executor;
        Duration interval;
        std::function<void()> tick;
        std::optional<TimerId> pending;
    };

    static void arm(const std::shared_ptr<Timer>& timer) {
        timer->pending =
            timer->executor.scheduleAfter(timer->interval, [weak = std::weak_ptr<Timer>(timer)] {
                if (auto timer = weak.lock(); timer && timer->pending) {
                    arm(timer);
                    timer->tick();
                }
            });
    }

    ManualExecutor& executor_;
};

} // namespace kestrelle::test
