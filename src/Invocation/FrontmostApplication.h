#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kestrelle {

// The application in front of the user, as the workspace reports it.
struct FrontmostApplication {
    std::int32_t processIdentifier = 0;
    std::optional<std::string> bundleIdentifier;

    friend bool operator==(const FrontmostApplication&, const FrontmostApplication&) = default;
};

} // namespace kestrelle
