#pragma once

#include "Runtime/Signal.h"

#include <functional>

namespace kestrelle {

// Tells, on the main thread, each time this application becomes the active one: the moment
// the user may have changed a permission or a login item in System Settings and come back.
// Real: NSApplicationDidBecomeActiveNotification (macOS). Fake: FakeAppActivationNotifier.h.
class AppActivationNotifier {
public:
    virtual ~AppActivationNotifier() = default;
    [[nodiscard]] virtual Subscription observe(std::function<void()> handler) = 0;
};

} // namespace kestrelle
