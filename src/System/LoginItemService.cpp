#include "System/LoginItemService.h"

#include "Runtime/OneShotContinuation.h"

namespace kestrelle {

std::shared_ptr<LoginItemService>
LoginItemService::create(std::shared_ptr<LoginItemSystemService> system,
                         AppActivationNotifier& activations) {
    return std::make_shared<LoginItemService>(ConstructionKey{}, std::move(system), activations);
}

LoginItemService::LoginItemService(ConstructionKey, std::shared_ptr<LoginItemSystemService> system,
                                   AppActivationNotifier& activations)
    : system_(std::move(system)), activations_(activations), state_(stateFor(system_->status())) {}

Subscription LoginItemService::subscribeState(std::function<void(LoginItemState)> observer) {
    return state_.subscribe(
        [observer = std::move(observer)](const LoginItemState& state) { observer(state); });
}

Subscription LoginItemService::subscribeBusy(std::function<void(bool)> observer) {
    return isBusy_.subscribe(
        [observer = std::move(observer)](const bool& busy) { observer(busy); });
}

Subscription LoginItemService::subscribeFailure(
    std::function<void(const std::optional<LoginItemFailure>&)> observer) {
    return failure_.subscribe(std::move(observer));
}

LoginItemState LoginItemService::stateFor(std::int64_t status) {
    switch (status) {
    case LoginItemSystemService::statusEnabled:
        return LoginItemState::enabled;
    case LoginItemSystemService::statusNotRegistered:
        return LoginItemState::notRegistered;
    case LoginItemSystemService::statusRequiresApproval:
        return LoginItemState::requiresApproval;
    default:
        return LoginItemState::unavailable;
    }
}

std::string LoginItemService::failureMessage(std::string_view errorDescription, bool enabling) {
    std::string message = enabling ? "Kestrelle could not be added to your login items. "
                                   : "Kestrelle could not be removed from your login items. ";
    message += errorDescription;
    return message;
}

void LoginItemService::refresh() {
    state_.set(stateFor(system_->status()));
    if (failure_.get() && failure_.get()->isResolvedBy(state_.get())) {
        failure_.set(std::nullopt);
    }
}

void LoginItemService::beginMonitoring() {
    if (!activationObserver_) {
        activationObserver_ = activations_.observe([weak = weak_from_this()] {
            if (auto self = weak.lock()) {
                self->refresh();
            }
        });
    }
    refresh();
}

Task<void> LoginItemService::setEnabled(bool enabled) {
    return request(weak_from_this(), enabled);
}

Task<void> LoginItemService::request(std::weak_ptr<LoginItemService> weak, bool enabled) {
    std::shared_ptr<LoginItemSystemService> system;
    if (auto self = weak.lock(); self && !self->isBusy_.get()) {
        self->isBusy_.set(true);
        self->failure_.set(std::nullopt);
        system = self->system_;
    } else {
        co_return;
    }

    auto start = [system, enabled](OneShotContinuation<std::optional<std::string>> done) {
        auto completion = [done](std::optional<std::string> errorDescription) {
            done.resume(std::move(errorDescription));
        };
        if (enabled) {
            system->registerItem(std::move(completion));
        } else {
            system->unregisterItem(std::move(completion));
        }
    };
    const auto errorDescription = co_await withContinuation<std::optional<std::string>>(start);

    auto self = weak.lock();
    if (!self) {
        co_return;
    }
    if (errorDescription) {
        self->logger_.error("Login item {} failed: {}",
                            PublicText(enabled ? "registration" : "removal"),
                            PublicText(*errorDescription));
        self->failure_.set(LoginItemFailure{failureMessage(*errorDescription, enabled), enabled});
    }
    self->refresh();
    self->isBusy_.set(false);
}

} // namespace kestrelle
