#pragma once

#include "App/SessionInterruptions.h"

namespace kestrelle {

// Interruptions from D-Bus: logind's PrepareForSleep(true) and this session's Lock on the system
// bus, a screen saver's ActiveChanged(true) (freedesktop or GNOME) on the session bus. A bus that
// cannot be reached is skipped, with one log line.
class DBusSessionInterruptions final : public SessionInterruptions {
public:
    [[nodiscard]] Subscription observe(std::function<void()> handler) override;
};

} // namespace kestrelle
