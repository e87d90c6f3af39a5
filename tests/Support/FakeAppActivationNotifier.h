#pragma once

#include "System/AppActivationNotifier.h"

namespace kestrelle::test {

// Plays the user switching back to the app.
class FakeAppActivationNotifier final : public AppActivationNotifier {
public:
    Subscription observe(std::function<void()> handler) override {
        return signal.subscribe(std::move(handler));
    }
    void activate() { signal.emit(); }
    Signal<> signal;
};

} // namespace kestrelle::test
