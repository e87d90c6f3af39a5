#pragma once

#include "Runtime/Signal.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrelle {

// Reports every application that becomes active, on the main thread. Either identifier may be
// unknown; the bundle identifier is FrontmostApplication's. Implemented over NSWorkspace's
// activation notification on macOS, over moves of the X input focus between top-level windows on
// X11 (ApplicationActivations_linux.h); faked by test::FakeApplicationActivations.
class ApplicationActivations {
public:
    using Handler = std::function<void(std::optional<std::int32_t> processIdentifier,
                                       std::optional<std::string> bundleIdentifier)>;

    virtual ~ApplicationActivations() = default;
    [[nodiscard]] virtual Subscription observe(Handler handler) = 0;
};

} // namespace kestrelle
