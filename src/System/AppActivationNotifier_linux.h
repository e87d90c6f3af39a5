#pragma once

#include "System/AppActivationNotifier.h"

namespace kestrelle {

// The application becoming active: Qt's application state turning active, which happens when
// one of Kestrelle's windows takes the focus.
class QtAppActivationNotifier final : public AppActivationNotifier {
public:
    [[nodiscard]] Subscription observe(std::function<void()> handler) override;
};

} // namespace kestrelle
