#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrelle {

// The copies of an application that are running, and this process's place among them.
// Real: NSRunningApplication (macOS), a session-bus name (Linux). Fake: FakeShell.h.
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
};

} // namespace kestrelle
