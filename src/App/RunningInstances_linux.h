#pragma once

#include "App/RunningInstances.h"

#include <memory>

namespace kestrelle {

// One running copy per session: the first to claim the well-known session-bus name named after
// the identifier runs, and exports an object at the name's path whose Activate method a later
// copy calls before it quits.
class BusNameRunningInstances final : public RunningInstances {
public:
    BusNameRunningInstances();
    ~BusNameRunningInstances() override;

    std::optional<std::string> mainBundleIdentifier() override;
    std::int32_t currentProcessIdentifier() override;
    // Claims the name; this process when the claim succeeds, the name's owner when it does not,
    // none when there is no session bus.
    std::vector<std::int32_t> runningApplications(const std::string& bundleIdentifier) override;
    // Asks the name's owner to come forward; waits for its answer, briefly, so that the request
    // is out before this copy quits.
    void activate(std::int32_t processIdentifier) override;
    // Quits the Qt event loop, now or as soon as it runs.
    void terminate() override;
    [[nodiscard]] Subscription observeActivations(std::function<void()> handler) override;

private:
    class Endpoint;

    std::string name_;
    std::unique_ptr<Endpoint> endpoint_;
    Signal<> activations_;
};

} // namespace kestrelle
