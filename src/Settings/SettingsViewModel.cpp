#include "Settings/SettingsViewModel.h"

#include "Runtime/KestrelleError.h"
#include "Runtime/TaskHandle.h"

#include <utility>

namespace kestrelle {

// Counts one running load or change for as long as it lives, so that a task whose frame is
// destroyed unfinished still stops counting.
class SettingsViewModel::Activity {
public:
    Activity(std::weak_ptr<SettingsViewModel> model, int SettingsViewModel::*counter)
        : model_(std::move(model)), counter_(counter) {
        step(+1);
    }
    Activity(Activity&& other) noexcept
        : model_(std::move(other.model_)), counter_(std::exchange(other.counter_, nullptr)) {}
    Activity& operator=(Activity&&) = delete;
    ~Activity() { step(-1); }

private:
    void step(int delta) {
        auto model = model_.lock();
        if (model && counter_) {
            (*model).*counter_ += delta;
            model->activityChanged();
        }
    }

    std::weak_ptr<SettingsViewModel> model_;
    int SettingsViewModel::*counter_;
};

std::string SettingsViewModel::deleteConfirmationMessage(std::string_view label) {
    return "“" + std::string(label) + "” and its saved password? This cannot be undone.";
}

std::shared_ptr<SettingsViewModel> SettingsViewModel::create(Dependencies dependencies) {
    return std::make_shared<SettingsViewModel>(ConstructionKey{}, std::move(dependencies));
}

SettingsViewModel::SettingsViewModel(ConstructionKey, Dependencies dependencies)
    : executor_(dependencies.executor), settings_(dependencies.settings),
      permissions_(dependencies.permissions), loginItem_(dependencies.loginItem),
      passwords_(dependencies.passwords), securePasswords_(dependencies.securePasswords),
      secretStoreBindsBiometrics_(dependencies.secretStoreBindsBiometrics),
      systemNames_(dependencies.systemNames),
      biometricAvailability_(dependencies.biometricAvailability) {
    auto forward = [this] { willChange_.emit(); };
    for (ObservableBase* property : std::initializer_list<ObservableBase*>{
             &snapshot_, &isLoading_, &editor_, &deleteCandidate_, &errorMessage_,
             &biometricAvailability_, &isBusy_}) {
        willChangeForwarding_.push_back(property->subscribeWillChange(forward));
    }
}

// Observation

Subscription SettingsViewModel::subscribeSnapshot(
    std::function<void(const PasswordSettingsSnapshot&)> observer) {
    return snapshot_.subscribe(std::move(observer));
}

Subscription SettingsViewModel::subscribeIsLoading(std::function<void(bool)> observer) {
    return isLoading_.subscribe([observer = std::move(observer)](bool value) { observer(value); });
}

Subscription SettingsViewModel::subscribeEditor(
    std::function<void(const std::optional<EntryEditorRequest>&)> observer) {
    return editor_.subscribe(std::move(observer));
}

Subscription SettingsViewModel::subscribeDeleteCandidate(
    std::function<void(const std::optional<SettingsEntry>&)> observer) {
    return deleteCandidate_.subscribe(std::move(observer));
}

Subscription SettingsViewModel::subscribeErrorMessage(
    std::function<void(const std::optional<std::string>&)> observer) {
    return errorMessage_.subscribe(std::move(observer));
}

Subscription SettingsViewModel::subscribeBiometricAvailability(
    std::function<void(const BiometricAvailability&)> observer) {
    return biometricAvailability_.subscribe(std::move(observer));
}

Subscription SettingsViewModel::subscribeIsBusy(std::function<void(bool)> observer) {
    return isBusy_.subscribe([observer = std::move(observer)](bool value) { observer(value); });
}

Subscription SettingsViewModel::subscribeWillChange(std::function<void()> observer) {
    return willChange_.subscribe(std::move(observer));
}

Subscription SettingsViewModel::subscribePanes(std::function<void()> observer) {
    // Every source calls at once when subscribed; only later changes are passed on.
    struct Forwarder {
        std::function<void()> observer;
        bool subscribed = false;
        std::vector<Subscription> sources;
    };
    auto forwarder = std::make_shared<Forwarder>(Forwarder{std::move(observer), false, {}});
    auto notify = [weak = std::weak_ptr<Forwarder>(forwarder)](const auto&...) {
        auto forwarder = weak.lock();
        if (forwarder && forwarder->subscribed) {
            forwarder->observer();
        }
    };
    auto& sources = forwarder->sources;
    sources.push_back(snapshot_.subscribe(notify));
    sources.push_back(errorMessage_.subscribe(notify));
    sources.push_back(biometricAvailability_.subscribe(notify));
    sources.push_back(isBusy_.subscribe(notify));
    sources.push_back(settings_.subscribeShortcutStatus(notify));
    sources.push_back(settings_.subscribeBiometricReuseWindow(notify));
    sources.push_back(permissions_.subscribeAccessibilityGranted(notify));
    sources.push_back(loginItem_.subscribeState(notify));
    sources.push_back(loginItem_.subscribeBusy(notify));
    sources.push_back(loginItem_.subscribeFailure(notify));
    forwarder->subscribed = true;
    return Subscription([forwarder] { forwarder->sources.clear(); });
}

GeneralPanePresentation SettingsViewModel::generalPane() const {
    return GeneralPanePresentation::make(settings_, permissions_.accessibilityGranted(), loginItem_,
                                         systemNames_);
}

PasswordsPanePresentation SettingsViewModel::passwordsPane() const {
    return PasswordsPanePresentation::make(snapshot(), biometricAvailability(), errorMessage(),
                                           isBusy(), secretStoreBindsBiometrics_, systemNames_);
}

void SettingsViewModel::activityChanged() {
    // Set only on a change, so that observers hear of real transitions.
    if (isLoading_.get() != (loadsRunning_ > 0)) {
        isLoading_.set(loadsRunning_ > 0);
    }
    const bool busy = loadsRunning_ > 0 || changesRunning_ > 0;
    if (isBusy_.get() != busy) {
        isBusy_.set(busy);
    }
}

// Loading

void SettingsViewModel::refresh() {
    biometricAvailability_.set(securePasswords_.availability());
    loginItem_.refresh();
    spawn(executor_, loadForRefresh(weak_from_this(),
                                    Activity(weak_from_this(), &SettingsViewModel::loadsRunning_),
                                    window_.current()));
}

Task<void> SettingsViewModel::loadForRefresh(std::weak_ptr<SettingsViewModel> weak,
                                             [[maybe_unused]] Activity loading,
                                             Generation::Token window) {
    co_await reload(std::move(weak), window);
}

Task<void> SettingsViewModel::reload(std::weak_ptr<SettingsViewModel> weak,
                                     Generation::Token window) {
    auto self = weak.lock();
    if (!self) {
        co_return;
    }
    PasswordSettingsService& passwords = self->passwords_;
    const auto newest = self->reloads_.advance();
    self.reset();

    std::optional<PasswordSettingsSnapshot> snapshot;
    std::string failure;
    try {
        snapshot = co_await passwords.snapshot();
    } catch (const KestrelleError& error) {
        failure = error.description();
    }

    self = weak.lock();
    if (!self || !self->reloads_.isCurrent(newest)) {
        co_return;
    }
    if (snapshot) {
        self->snapshot_.set(std::move(*snapshot));
        if (self->errorReportsLoad_) {
            self->clearErrorMessage();
        }
    } else if (self->window_.isCurrent(window)) {
        // The list keeps what was last loaded.
        self->showError(std::string(loadFailurePrefix) + failure, true);
    }
}

// The editor

void SettingsViewModel::setEditor(std::optional<EntryEditorRequest> request) {
    if (editorModel_) {
        std::exchange(editorModel_, nullptr)->discardPassword();
    }
    if (request) {
        auto onSaveCompleted = [weak = weak_from_this()](const EntryEditorSaveResult& result) {
            auto self = weak.lock();
            if (self && self->onEditorSaveCompleted_) {
                self->onEditorSaveCompleted_(result);
            }
        };
        editorModel_ = EntryEditorModel::create(*request, executor_, weak_from_this(),
                                                onSaveCompleted, systemNames_);
    }
    editor_.set(std::move(request));
}

void SettingsViewModel::beginAdd() {
    setEditor(EntryEditorRequest::forNewEntry());
}

void SettingsViewModel::beginEdit(const SettingsEntry& entry) {
    setEditor(EntryEditorRequest::forEntry(entry));
}

void SettingsViewModel::closeEditor(const EntryEditorRequest& request) {
    if (editor() == request) {
        setEditor(std::nullopt);
    }
}

Task<EntryEditorSaveResult> SettingsViewModel::saveEditor(const EntryEditorRequest& request,
                                                          std::string_view label,
                                                          std::string_view password) {
    std::optional<std::string_view> replacement;
    if (!password.empty()) {
        replacement = password;
    }
    clearErrorMessage();
    // A repair without a value renames only; the service would refuse it as a repair.
    auto operation = request.mode.isAdd()
                         ? passwords_.add(label, password)
                         : passwords_.edit(request.id, label, replacement,
                                           request.mode.isRepair() && replacement.has_value());
    auto change =
        runChange(weak_from_this(), Activity(weak_from_this(), &SettingsViewModel::changesRunning_),
                  std::move(operation), window_.current());
    return finishSave(weak_from_this(), request, std::move(change));
}

Task<EntryEditorSaveResult> SettingsViewModel::finishSave(std::weak_ptr<SettingsViewModel> weak,
                                                          EntryEditorRequest request,
                                                          Task<std::optional<std::string>> change) {
    // The editor shows a failure itself, even one that outlived the window.
    auto failure = co_await std::move(change);
    if (failure) {
        co_return EntryEditorSaveResult::failed(std::move(*failure));
    }
    if (auto self = weak.lock()) {
        self->closeEditor(request);
    }
    co_return EntryEditorSaveResult::saved();
}

// Changes

void SettingsViewModel::showError(std::string message, bool reportsLoad) {
    errorReportsLoad_ = reportsLoad;
    errorMessage_.set(std::move(message));
}

void SettingsViewModel::clearErrorMessage() {
    if (errorMessage()) {
        errorMessage_.set(std::nullopt);
    }
}

void SettingsViewModel::perform(Task<void> operation) {
    // A new change makes the report of an older one stale.
    clearErrorMessage();
    const auto window = window_.current();
    auto change =
        runChange(weak_from_this(), Activity(weak_from_this(), &SettingsViewModel::changesRunning_),
                  std::move(operation), window);
    spawn(executor_, reportChange(weak_from_this(), std::move(change), window));
}

Task<std::optional<std::string>> SettingsViewModel::runChange(std::weak_ptr<SettingsViewModel> weak,
                                                              [[maybe_unused]] Activity change,
                                                              Task<void> operation,
                                                              Generation::Token window) {
    std::optional<std::string> failure;
    try {
        co_await std::move(operation);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    auto self = weak.lock();
    if (!self) {
        co_return failure;
    }
    if (failure) {
        // So that the list shows what really happened, say a deleted password whose entry is
        // still on disk.
        spawn(self->executor_, reload(weak, window));
        co_return failure;
    }
    // Whatever the line reported is over, say that this change was still running.
    self->clearErrorMessage();
    self.reset();
    co_await reload(weak, window);
    co_return std::nullopt;
}

Task<void> SettingsViewModel::reportChange(std::weak_ptr<SettingsViewModel> weak,
                                           Task<std::optional<std::string>> change,
                                           Generation::Token window) {
    auto failure = co_await std::move(change);
    auto self = weak.lock();
    // Settings closed meanwhile: the report belongs to a window that is gone.
    if (failure && self && self->window_.isCurrent(window)) {
        self->showError(std::move(*failure), false);
    }
}

void SettingsViewModel::move(const SettingsEntry& entry, std::ptrdiff_t offset) {
    perform(passwords_.move(entry.id, offset));
}

void SettingsViewModel::confirmDelete() {
    const auto candidate = deleteCandidate();
    if (!candidate) {
        return;
    }
    // The confirmation closes before the prompt shows.
    cancelDelete();
    perform(passwords_.deleteEntry(candidate->id));
}

void SettingsViewModel::clearTransientForms() {
    window_.advance();
    setEditor(std::nullopt);
    cancelDelete();
    clearErrorMessage();
    // At once rather than from a task: no approval may outlive the window by even one turn.
    securePasswords_.cancelAll();
}

// Startup

void SettingsViewModel::setLaunchAtLogin(bool enabled) {
    spawn(executor_, loginItem_.setEnabled(enabled));
}

void SettingsViewModel::retryLaunchAtLogin() {
    if (const auto& failure = loginItem_.failure()) {
        setLaunchAtLogin(failure->requestedEnabled);
    }
}

void SettingsViewModel::perform(const SettingsEntry& entry,
                                PasswordsPanePresentation::Action action) {
    using Action = PasswordsPanePresentation::Action;
    switch (action) {
    case Action::moveUp:
    case Action::moveDown:
        move(entry, action == Action::moveUp ? -1 : 1);
        break;
    case Action::edit:
        beginEdit(entry);
        break;
    case Action::remove:
        requestDelete(entry);
        break;
    }
}

void SettingsViewModel::perform(GeneralPanePresentation::StartupAction action) {
    switch (action) {
    case GeneralPanePresentation::StartupAction::openLoginItemsSettings:
        loginItem_.openLoginItemsSettings();
        break;
    case GeneralPanePresentation::StartupAction::tryAgain:
        retryLaunchAtLogin();
        break;
    }
}

} // namespace kestrelle
