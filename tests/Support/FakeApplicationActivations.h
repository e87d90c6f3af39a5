#pragma once

#include "Invocation/ApplicationActivations.h"

namespace kestrelle::test {

// Plays the workspace announcing that an application became active.
class FakeApplicationActivations final : public ApplicationActivations {
public:
    Subscription observe(Handler handler) override { return signal_.subscribe(std::move(handler)); }
    void activate(std::optional<std::int32_t> processIdentifier,
                  std::optional<std::string> bundleIdentifier) {
        signal_.emit(processIdentifier, bundleIdentifier);
    }

private:
    Signal<std::optional<std::int32_t>, std::optional<std::string>> signal_;
};

} // namespace kestrelle::test
