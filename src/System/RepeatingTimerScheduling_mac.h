#pragma once

#include "System/RepeatingTimerScheduling.h"

namespace kestrelle {

// Repeating NSTimers in the main run loop's common modes.
class RunLoopRepeatingTimers final : public RepeatingTimerScheduling {
public:
    [[nodiscard]] Subscription scheduleRepeating(Duration interval, Duration tolerance,
                                                 std::function<void()> tick) override;
};

} // namespace kestrelle
