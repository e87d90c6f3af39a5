#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kestrelle {

// The application in front of the user, as the workspace reports it.
struct FrontmostApplication {
    std::int32_t processIdentifier = 0;
    // macOS: the bundle identifier; X11: the class part of the window's WM_CLASS.
    std::optional<std::string> bundleIdentifier;

    friend bool operator==(const FrontmostApplication&, const FrontmostApplication&) = default;
};

} // namespace kestrelle
