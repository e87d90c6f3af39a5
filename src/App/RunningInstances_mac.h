#pragma once

#include "App/RunningInstances.h"

namespace kestrelle {

// NSRunningApplication's view of the copies running; this one quits through NSApplication.
class LaunchServicesRunningInstances final : public RunningInstances {
public:
    std::optional<std::string> mainBundleIdentifier() override;
    std::int32_t currentProcessIdentifier() override;
    std::vector<std::int32_t> runningApplications(const std::string& bundleIdentifier) override;
    void activate(std::int32_t processIdentifier) override;
    void terminate() override;
};

} // namespace kestrelle
