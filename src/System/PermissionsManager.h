#pragma once

#include "Runtime/Logger.h"
#include "Runtime/Observable.h"
#include "System/AppActivationNotifier.h"
#include "System/RepeatingTimerScheduling.h"
#include "System/RunningBundle.h"
#include "System/SystemWorkspace.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace kestrelle {

// Knows whether the user has granted this copy of the app Accessibility access, re-checks it
// whenever the app becomes active and, once Settings has been shown, twice a second, and offers
// the actions that help the user grant it. Main-thread object.
class PermissionsManager : public std::enable_shared_from_this<PermissionsManager> {
    struct ConstructionKey {
        explicit ConstructionKey() = default;
    };

public:
    static constexpr std::string_view accessibilitySettingsUrl =
        "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";
    static constexpr std::string_view biometricSettingsUrl =
        "x-apple.systempreferences:com.apple.Touch-ID-Settings.extension";
    static constexpr std::chrono::milliseconds pollInterval{500};
    static constexpr std::chrono::milliseconds pollTolerance{150};

    struct Dependencies {
        // Reads the current trust without side effects.
        std::function<bool()> trustProbe;
        // Lets the system show its own prompt to grant access.
        std::function<void()> trustPrompt;
        SystemWorkspace& workspace;
        AppActivationNotifier& activations;
        RepeatingTimerScheduling& timers;
        RunningBundle bundle;
    };

    static std::shared_ptr<PermissionsManager> create(Dependencies dependencies);
    PermissionsManager(ConstructionKey, Dependencies dependencies);
    PermissionsManager(const PermissionsManager&) = delete;
    PermissionsManager& operator=(const PermissionsManager&) = delete;

    // The last known trust; false until a refresh says otherwise.
    bool accessibilityGranted() const { return accessibilityGranted_.get(); }
    // Calls `observer` with the current value at once, then after every refresh.
    [[nodiscard]] Subscription subscribeAccessibilityGranted(std::function<void(bool)> observer);
    [[nodiscard]] Subscription subscribeWillChange(std::function<void()> observer) {
        return accessibilityGranted_.subscribeWillChange(std::move(observer));
    }

    void refresh();
    // Refreshes on every activation of the app from now on; a second call only refreshes.
    void beginMonitoring();
    // Starts the poll unless it runs already.
    void startPolling();
    // The Settings window closed: nobody is looking at the permission any more.
    void stopPolling() { pollingTimer_.reset(); }
    bool isPolling() const { return pollingTimer_.has_value(); }
    void requestAccess();

    void openAccessibilitySettings() { workspace_.openUrl(accessibilitySettingsUrl); }
    void openBiometricSettings() { workspace_.openUrl(biometricSettingsUrl); }
    // So the user can add exactly this copy to the Accessibility list.
    void revealRunningApp() { workspace_.revealInFileViewer(bundle_.path); }

private:
    // For closures that other objects keep: does nothing once the manager is gone.
    std::function<void()> weakRefresh();

    std::function<bool()> trustProbe_;
    std::function<void()> trustPrompt_;
    SystemWorkspace& workspace_;
    AppActivationNotifier& activations_;
    RepeatingTimerScheduling& timers_;
    RunningBundle bundle_;
    Logger logger_{"Accessibility"};
    Observable<bool> accessibilityGranted_{false};
    std::optional<Subscription> observer_;
    std::optional<Subscription> pollingTimer_;
    bool hasLoggedTrustState_ = false;
};

} // namespace kestrelle
