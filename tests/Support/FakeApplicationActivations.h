#pragma once

#include "Invocation/ApplicationActivations.h"

namespace kestrelle::test {

// Plays the workspace announcing that an application became active.
class FakeApplicationActivations final : public ApplicationActivations {
public:
    Subscription observe(Handler handler) override {
        return signal_.subscribe([handler = std::move(handler)](std::optional<std::int32_t> pid,
                                                                std::optional<std::string> bundle) {
            handler(pid, std::move(bundle));
        });
    }

    void activate(std::optional<std::int32_t> processIdentifier,
                  std::optional<std::string> bundleIdentifier) {
        signal_.emit(processIdentifier, bundleIdentifier);
    }

private:
    Signal<std::optional<std::int32_t>, std::optional<std::string>> signal_;
};

} // namespace kestrelle::test
