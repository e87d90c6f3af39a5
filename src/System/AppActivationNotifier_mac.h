#pragma once

#include "System/AppActivationNotifier.h"

namespace kestrelle {

// NSApplication's did-become-active notification, which the system posts on the main thread.
class ApplicationDidBecomeActive final : public AppActivationNotifier {
public:
    [[nodiscard]] Subscription observe(std::function<void()> handler) override;
};

} // namespace kestrelle
