#pragma once

#include "Runtime/Signal.h"

#include <functional>

namespace kestrelle {

// The user's session being interrupted: switched away from (fast user switching), the machine
// going to sleep, or the screen locking. All three mean the same to Kestrelle.
class SessionInterruptions {
public:
    virtual ~SessionInterruptions() = default;
    // Calls `handler` on the main thread for each interruption until the subscription ends.
    [[nodiscard]] virtual Subscription observe(std::function<void()> handler) = 0;
};

} // namespace kestrelle
