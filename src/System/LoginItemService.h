#pragma once

#include "Runtime/Logger.h"
#include "Runtime/Observable.h"
#include "Runtime/Task.h"
#include "System/AppActivationNotifier.h"
#include "System/LoginItemFailure.h"
#include "System/LoginItemState.h"
#include "System/LoginItemSystemService.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelle {

// Registers or removes the app as a login item and publishes what the platform then reports,
// re-reading it whenever the app becomes active because the user may approve or remove the
// item in System Settings at any time. Platform errors end here, as a kept failure and a log
// line. Main-thread object.
class LoginItemService : public std::enable_shared_from_this<LoginItemService> {
    struct ConstructionKey {
        explicit ConstructionKey() = default;
    };

public:
    static std::shared_ptr<LoginItemService> create(std::shared_ptr<LoginItemSystemService> system,
                                                    AppActivationNotifier& activations);
    LoginItemService(ConstructionKey, std::shared_ptr<LoginItemSystemService> system,
                     AppActivationNotifier& activations);
    LoginItemService(const LoginItemService&) = delete;
    LoginItemService& operator=(const LoginItemService&) = delete;

    LoginItemState state() const { return state_.get(); }
    // True while a register or unregister request runs.
    bool isBusy() const { return isBusy_.get(); }
    // The last failed request, until the state shows that it took effect after all.
    const std::optional<LoginItemFailure>& failure() const { return failure_.get(); }

    // Each calls `observer` with the current value at once, then after every assignment.
    [[nodiscard]] Subscription subscribeState(std::function<void(LoginItemState)> observer);
    [[nodiscard]] Subscription subscribeBusy(std::function<void(bool)> observer);
    [[nodiscard]] Subscription
    subscribeFailure(std::function<void(const std::optional<LoginItemFailure>&)> observer);

    void refresh();
    // Refreshes on every activation of the app from now on; a second call only refreshes.
    void beginMonitoring();
    // Ignored while another request runs.
    Task<void> setEnabled(bool enabled);
    void openLoginItemsSettings() { system_->openLoginItemsSettings(); }

    static LoginItemState stateFor(std::int64_t status);
    static std::string failureMessage(std::string_view errorDescription, bool enabling);

private:
    static Task<void> request(std::weak_ptr<LoginItemService> weak, bool enabled);

    std::shared_ptr<LoginItemSystemService> system_;
    AppActivationNotifier& activations_;
    Logger logger_{"LoginItem"};
    Observable<LoginItemState> state_;
    Observable<bool> isBusy_{false};
    Observable<std::optional<LoginItemFailure>> failure_;
    std::optional<Subscription> activationObserver_;
};

} // namespace kestrelle
