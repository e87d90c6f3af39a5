#pragma once

#include "Runtime/Executor.h"

#include <chrono>

namespace kestrelle {

// The second after showing during which the picker takes key focus back whenever it loses it:
// a non-activating panel shown from a background app is often denied key status for a moment,
// for example while the biometric prompt goes away.
struct PasswordPickerKeyFocusSettling {
    static constexpr std::chrono::milliseconds period{1000};
    static constexpr std::chrono::milliseconds pollInterval{50};
    static constexpr int maximumAttempts = 20;

    MonotonicTime deadline;
    // Re-assertions made so far.
    int attempts = 0;

    static PasswordPickerKeyFocusSettling startingAt(MonotonicTime now) {
        return {now + period, 0};
    }

    bool isActive(MonotonicTime now) const { return attempts < maximumAttempts && now < deadline; }
};

} // namespace kestrelle
