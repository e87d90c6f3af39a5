#pragma once

#include "Runtime/Cancellation.h"
#include "Runtime/TaskHandle.h"
#include "Support/ManualExecutor.h"
#include "System/RepeatingTimerScheduling.h"

namespace kestrelle::test {

// Repeating timers in the manual executor's virtual time, ignoring tolerance; counts the timers
// scheduled.
class ManualRepeatingTimers final : public RepeatingTimerScheduling {
public:
    explicit ManualRepeatingTimers(ManualExecutor& executor) : executor_(executor) {}

    Subscription scheduleRepeating(Duration interval, Duration,
                                   std::function<void()> tick) override {
        ++scheduled;
        auto ticking = spawn(executor_, repeat(interval, std::move(tick)));
        return Subscription([ticking] { ticking.cancel(); });
    }

    int scheduled = 0;

private:
    static Task<void> repeat(Duration interval, std::function<void()> tick) {
        for (;;) {
            co_await sleepFor(interval);
            tick();
        }
    }

    ManualExecutor& executor_;
};

} // namespace kestrelle::test
