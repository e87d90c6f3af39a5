#pragma once

#include "Runtime/Signal.h"

#include <functional>

namespace kestrelle {

// The user's session being interrupted. All three mean the same to Kestrelle, on purpose:
// - the session resigning active (fast user switching): on macOS
//   NSWorkspaceSessionDidResignActiveNotification, from the shared workspace's notification centre;
// - the machine going to sleep: NSWorkspaceWillSleepNotification, same centre;
// - the screen locking: "com.apple.screenIsLocked", from the distributed notification centre.
// Other platforms map their own lock, sleep and session-switch signals onto the same call.
// Real: one adapter per platform. Fake: tests/Support/FakeShell.h.
class SessionInterruptions {
public:
    virtual ~SessionInterruptions() = default;
    // Calls `handler` on the main thread for each interruption until the subscription ends;
    // ending it removes every observer it installed.
    [[nodiscard]] virtual Subscription observe(std::function<void()> handler) = 0;
};

} // namespace kestrelle
