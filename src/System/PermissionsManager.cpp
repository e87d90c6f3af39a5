#include "System/PermissionsManager.h"

namespace kestrelle {

std::shared_ptr<PermissionsManager> PermissionsManager::create(Dependencies dependencies) {
    return std::make_shared<PermissionsManager>(ConstructionKey{}, std::move(dependencies));
}

PermissionsManager::PermissionsManager(ConstructionKey, Dependencies dependencies)
    : trustProbe_(std::move(dependencies.trustProbe)),
      trustPrompt_(std::move(dependencies.trustPrompt)), workspace_(dependencies.workspace),
      activations_(dependencies.activations), timers_(dependencies.timers),
      bundle_(std::move(dependencies.bundle)) {}

Subscription PermissionsManager::subscribeAccessibilityGranted(std::function<void(bool)> observer) {
    return accessibilityGranted_.subscribe(
        [observer = std::move(observer)](const bool& granted) { observer(granted); });
}

void PermissionsManager::refresh() {
    const bool granted = trustProbe_();
    // Approval belongs to one copy of the app, so the log names the copy that asked.
    if (!hasLoggedTrustState_ || granted != accessibilityGranted_.get()) {
        logger_.info("Accessibility trust is {} for {} ({})",
                     PublicText(granted ? "granted" : "denied"), PublicText(bundle_.path),
                     PublicText(bundle_.identifier.value_or("no bundle identifier")));
        hasLoggedTrustState_ = true;
    }
    accessibilityGranted_.set(granted);
}

void PermissionsManager::beginMonitoring() {
    if (!observer_) {
        observer_ = activations_.observe(weakRefresh());
    }
    refresh();
}

void PermissionsManager::startPolling() {
    if (pollingTimer_) {
        return;
    }
    refresh();
    pollingTimer_ = timers_.scheduleRepeating(pollInterval, pollTolerance, weakRefresh());
}

void PermissionsManager::requestAccess() {
    trustPrompt_();
    refresh();
}

std::function<void()> PermissionsManager::weakRefresh() {
    return [weak = weak_from_this()] {
        if (auto self = weak.lock()) {
            self->refresh();
        }
    };
}

} // namespace kestrelle
