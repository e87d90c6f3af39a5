#pragma once

#include "Invocation/FrontmostApplication.h"

#include <cstdint>
#include <optional>

namespace kestrelle {

// The desktop's running applications, as far as an insertion target needs them. Implemented
// over NSWorkspace and NSProcessInfo on macOS, over the window holding the X input focus on X11
// (ApplicationWorkspace_linux.h); faked by test::FakeApplicationWorkspace.
class ApplicationWorkspace {
public:
    virtual ~ApplicationWorkspace() = default;

    // None while no application is in front (during a switch, for example).
    virtual std::optional<FrontmostApplication> frontmostApplication() = 0;
    virtual std::int32_t currentProcessIdentifier() = 0;
};

} // namespace kestrelle
