#pragma once

#include "Runtime/Signal.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kestrelle {

// The copies of an application that are running, and this process's place among them.
// Real: NSRunningApplication (macOS), a session-bus name (Linux). Fake: FakeShell.h.
//
// On Linux the copy that owns the well-known session-bus name named after the identifier is the
// running one: `runningApplications` claims the name and answers this process when the claim
// succeeds, the owner otherwise; `activate` asks the owner over the bus.
class RunningInstances {
public:
    virtual ~RunningInstances() = default;

    // None when the running bundle reports no identifier.
    virtual std::optional<std::string> mainBundleIdentifier() = 0;
    virtual std::int32_t currentProcessIdentifier() = 0;
    // Process identifiers in the system's order.
    virtual std::vector<std::int32_t> runningApplications(const std::string& bundleIdentifier) = 0;
    virtual void activate(std::int32_t processIdentifier) = 0;
    // Asks this application to quit.
    virtual void terminate() = 0;
    // Calls `handler` on the main thread whenever a copy launched later activates this one,
    // until the subscription ends. macOS brings the app forward itself and reports nothing.
    [[nodiscard]] virtual Subscription observeActivations(std::function<void()> /*handler*/) {
        return {};
    }
};

} // namespace kestrelle
