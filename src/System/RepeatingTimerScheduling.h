#pragma once

#include "Runtime/Executor.h"
#include "Runtime/Signal.h"

#include <functional>

namespace kestrelle {

// Repeating timers on the main thread. `tolerance` is how late the system may fire a tick to
// coalesce wake-ups; it is part of the request because the executor's one-shot timers have no
// such notion, and a poll that runs for the life of the process should not keep the CPU awake.
// Ticks run in the main run loop's common modes, so they go on while a menu is open or a window
// is being resized. Fake: tests/Support/ManualRepeatingTimers.h.
class RepeatingTimerScheduling {
public:
    virtual ~RepeatingTimerScheduling() = default;
    // Calls `tick` every `interval` until the subscription ends.
    [[nodiscard]] virtual Subscription scheduleRepeating(Duration interval, Duration tolerance,
                                                         std::function<void()> tick) = 0;
};

} // namespace kestrelle
