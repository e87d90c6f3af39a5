#pragma once

#include "Preferences/Settings.h"
#include "Runtime/Executor.h"
#include "Runtime/Generation.h"
#include "Runtime/Observable.h"
#include "Runtime/Task.h"
#include "Security/BiometricAvailability.h"
#include "Security/SecurePasswordService.h"
#include "Settings/EntryEditorModel.h"
#include "Settings/EntryEditorRequest.h"
#include "Settings/EntryEditorSaveResult.h"
#include "Settings/GeneralPanePresentation.h"
#include "Settings/PasswordSettingsService.h"
#include "Settings/PasswordSettingsSnapshot.h"
#include "Settings/PasswordsPanePresentation.h"
#include "Settings/SettingsEntry.h"
#include "System/LoginItemService.h"
#include "System/PermissionsManager.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelle {

// The model behind the Settings window: what the panes show, and the user's commands turned
// into calls on the password settings service. Every failure ends in `errorMessage`, or for the
// editor in its save result, and is followed by a reload so the list shows what really
// happened. Main-thread object; created once and kept for the life of the process.
class SettingsViewModel : public std::enable_shared_from_this<SettingsViewModel> {
    struct ConstructionKey {
        explicit ConstructionKey() = default;
    };

public:
    // Everything referenced must outlive the model and the tasks it starts.
    struct Dependencies {
        Executor& executor;
        Settings& settings;
        PermissionsManager& permissions;
        LoginItemService& loginItem;
        PasswordSettingsService& passwords;
        SecurePasswordService& securePasswords;
        BiometricAvailability biometricAvailability;
        bool secretStoreBindsBiometrics = true; // PlatformTraits::secretStoreBindsBiometrics
        PlatformTraits::SystemNames systemNames = PlatformTraits::SystemNames::macOS;
    };

    static constexpr std::string_view loadFailurePrefix =
        "Password metadata could not be loaded. The existing file was left unchanged. ";
    static constexpr std::string_view deleteConfirmationTitle = "Remove password?";
    static std::string deleteConfirmationMessage(std::string_view label);

    static std::shared_ptr<SettingsViewModel> create(Dependencies dependencies);
    SettingsViewModel(ConstructionKey, Dependencies dependencies);
    SettingsViewModel(const SettingsViewModel&) = delete;
    SettingsViewModel& operator=(const SettingsViewModel&) = delete;

    // Observable state. Each subscribe calls `observer` with the current value at once, then
    // after every assignment.
    const PasswordSettingsSnapshot& snapshot() const { return snapshot_.get(); }
    // True while a load started by `refresh` runs.
    bool isLoading() const { return isLoading_.get(); }
    // Present while the entry editor sheet is open.
    const std::optional<EntryEditorRequest>& editor() const { return editor_.get(); }
    // Present while the delete confirmation is shown.
    const std::optional<SettingsEntry>& deleteCandidate() const { return deleteCandidate_.get(); }
    // The last failure. A new change clears it, as it reports an older one; so does a change
    // that succeeds, and a load that succeeds clears a failed load's report.
    const std::optional<std::string>& errorMessage() const { return errorMessage_.get(); }
    BiometricAvailability biometricAvailability() const { return biometricAvailability_.get(); }
    // True while a load or a change runs; the panes then disable the row actions.
    bool isBusy() const { return isBusy_.get(); }

    [[nodiscard]] Subscription
    subscribeSnapshot(std::function<void(const PasswordSettingsSnapshot&)> observer);
    [[nodiscard]] Subscription subscribeIsLoading(std::function<void(bool)> observer);
    [[nodiscard]] Subscription
    subscribeEditor(std::function<void(const std::optional<EntryEditorRequest>&)> observer);
    [[nodiscard]] Subscription
    subscribeDeleteCandidate(std::function<void(const std::optional<SettingsEntry>&)> observer);
    [[nodiscard]] Subscription
    subscribeErrorMessage(std::function<void(const std::optional<std::string>&)> observer);
    [[nodiscard]] Subscription
    subscribeBiometricAvailability(std::function<void(const BiometricAvailability&)> observer);
    [[nodiscard]] Subscription subscribeIsBusy(std::function<void(bool)> observer);
    // Sent before any of the model's own properties changes.
    [[nodiscard]] Subscription subscribeWillChange(std::function<void()> observer);
    // Called after anything either pane shows has changed, here or in the preferences, the
    // permission monitor or the login item service; not at once.
    [[nodiscard]] Subscription subscribePanes(std::function<void()> observer);

    // The open editor's model, present exactly while `editor` is.
    const std::shared_ptr<EntryEditorModel>& editorModel() const { return editorModel_; }
    // Where the window hears how each editor save ended.
    void setOnEditorSaveCompleted(EntryEditorModel::SaveCompletion onSaveCompleted) {
        onEditorSaveCompleted_ = std::move(onSaveCompleted);
    }

    GeneralPanePresentation generalPane() const;
    PasswordsPanePresentation passwordsPane() const;

    Settings& settings() const { return settings_; }
    PermissionsManager& permissions() const { return permissions_; }
    LoginItemService& loginItem() const { return loginItem_; }

    // The window was shown: re-reads the biometric availability and the login item, and
    // reloads the entries.
    void refresh();
    void beginAdd();
    void beginEdit(const SettingsEntry& entry);
    // Closes the editor if it still shows `request`.
    void closeEditor(const EntryEditorRequest& request);
    // The password is only read before this returns.
    Task<EntryEditorSaveResult> saveEditor(const EntryEditorRequest& request,
                                           std::string_view label, std::string_view password);
    // Moves towards the top for negative offsets.
    void move(const SettingsEntry& entry, std::ptrdiff_t offset);
    void requestDelete(const SettingsEntry& entry) { deleteCandidate_.set(entry); }
    void cancelDelete() { deleteCandidate_.set(std::nullopt); }
    void confirmDelete();
    // The window closed: drops the editor (wiping what was typed), the confirmation and the
    // error, and ends every approval, so that closing Settings leaves none behind.
    void clearTransientForms();

    void setLaunchAtLogin(bool enabled);
    // Repeats the request that failed.
    void retryLaunchAtLogin();

    // What the panes' buttons do.
    void perform(const SettingsEntry& entry, PasswordsPanePresentation::Action action);
    void perform(GeneralPanePresentation::StartupAction action);

private:
    class Activity;

    // Reports about the window that `window` names are dropped once it has closed.
    static Task<void> reload(std::weak_ptr<SettingsViewModel> weak, Generation::Token window);
    static Task<void> loadForRefresh(std::weak_ptr<SettingsViewModel> weak, Activity loading,
                                     Generation::Token window);
    // Runs one change, then reloads; returns the change's failure, if any.
    static Task<std::optional<std::string>> runChange(std::weak_ptr<SettingsViewModel> weak,
                                                      Activity change, Task<void> operation,
                                                      Generation::Token window);
    static Task<void> reportChange(std::weak_ptr<SettingsViewModel> weak,
                                   Task<std::optional<std::string>> change,
                                   Generation::Token window);
    static Task<EntryEditorSaveResult> finishSave(std::weak_ptr<SettingsViewModel> weak,
                                                  EntryEditorRequest request,
                                                  Task<std::optional<std::string>> change);

    void perform(Task<void> operation);
    void showError(std::string message, bool reportsLoad);
    void clearErrorMessage();
    void setEditor(std::optional<EntryEditorRequest> request);
    void activityChanged();

    Executor& executor_;
    Settings& settings_;
    PermissionsManager& permissions_;
    LoginItemService& loginItem_;
    PasswordSettingsService& passwords_;
    SecurePasswordService& securePasswords_;
    const bool secretStoreBindsBiometrics_;
    const PlatformTraits::SystemNames systemNames_;

    Observable<PasswordSettingsSnapshot> snapshot_;
    Observable<bool> isLoading_{false};
    Observable<std::optional<EntryEditorRequest>> editor_;
    Observable<std::optional<SettingsEntry>> deleteCandidate_;
    Observable<std::optional<std::string>> errorMessage_;
    Observable<BiometricAvailability> biometricAvailability_;
    Observable<bool> isBusy_{false};
    Signal<> willChange_;
    std::vector<Subscription> willChangeForwarding_;

    std::shared_ptr<EntryEditorModel> editorModel_;
    EntryEditorModel::SaveCompletion onEditorSaveCompleted_;
    int loadsRunning_ = 0;
    int changesRunning_ = 0;
    // Advanced when the window closes: what its changes and loads report later is dropped.
    Generation window_;
    // Advanced by every reload, so that one that started earlier never overwrites a later one.
    Generation reloads_;
    // The error line reports a failed load, which the next successful load makes stale.
    bool errorReportsLoad_ = false;
};

} // namespace kestrelle
