#pragma once

#include <functional>

namespace kestrelle {

// The four operations behind every way of starting an invocation (the shortcut, the status
// menu). Each holds the app coordinator weakly.
struct AppInvocationRouter {
    // Re-reads the Accessibility permission and says whether it is granted.
    std::function<bool()> refreshAccessibility;
    // The system's own prompt to grant Accessibility, then a re-read.
    std::function<void()> requestAccessibility;
    std::function<void()> beginInvocation;
    std::function<void()> showSettings;
};

} // namespace kestrelle
