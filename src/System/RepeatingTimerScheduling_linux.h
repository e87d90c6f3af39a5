#pragma once

#include "System/RepeatingTimerScheduling.h"

namespace kestrelle {

// Repeating QTimers on the main thread's event loop, which keeps running while menus are open.
// A tolerance of a second or more makes a coarse timer, which Qt may fire up to 5% late.
class QtRepeatingTimers final : public RepeatingTimerScheduling {
public:
    [[nodiscard]] Subscription scheduleRepeating(Duration interval, Duration tolerance,
                                                 std::function<void()> tick) override;
};

} // namespace kestrelle
