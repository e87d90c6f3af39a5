#pragma once

#include "App/SessionInterruptions.h"
#include "App/SettingsWindowController.h"
#include "App/SoftwareUpdater.h"
#include "App/StatusItemController.h"
#include "Invocation/AccessibilityService.h"
#include "Invocation/AlertPresenting.h"
#include "Invocation/ApplicationActivations.h"
#include "Invocation/ApplicationWorkspace.h"
#include "Invocation/InputInjector.h"
#include "Invocation/InvocationCoordinator.h"
#include "Invocation/PasswordClipboard.h"
#include "Preferences/KeyValueStore.h"
#include "Preferences/Settings.h"
#include "Runtime/PlatformTraits.h"
#include "Runtime/SerialQueue.h"
#include "Security/BiometricContextCreating.h"
#include "Security/SecurePasswordService.h"
#include "Settings/PasswordSettingsService.h"
#include "Settings/SettingsViewModel.h"
#include "Shortcut/HotkeyManager.h"
#include "Storage/EntryCatalogStoring.h"
#include "Storage/KeychainBackend.h"
#include "Storage/PosixFileSystem.h"
#include "Storage/SecretStore.h"
#include "System/LoginItemService.h"
#include "System/PermissionsManager.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

namespace kestrelle {

// Builds every long-lived service once, wires them together, reacts to the user's session being
// interrupted, and undoes the wiring at termination. Main-thread object; every closure it hands
// out holds it weakly.
class AppCoordinator : public std::enable_shared_from_this<AppCoordinator> {
    struct ConstructionKey {
        explicit ConstructionKey() = default;
    };

public:
    // Every platform service the app runs on. All must outlive the coordinator. Built with
    // designated initialisers, so each adapter is named where it is chosen.
    struct Platform {
        Executor& executor;
        KeyValueStore& defaults;
        StatusBar& statusBar;
        HotKeyService& hotKeys;
        // Accessibility permission.
        std::function<bool()> trustProbe;
        std::function<void()> trustPrompt;
        SystemWorkspace& systemWorkspace;
        AppActivationNotifier& appActivations;
        RepeatingTimerScheduling& timers;
        RunningBundle bundle;
        std::shared_ptr<LoginItemSystemService> loginItems;
        // Entry storage.
        std::function<std::filesystem::path()> dataDirectory;
        // What the entry catalog's atomic writes go through: plain POSIX calls unless the
        // platform protects new files.
        std::function<std::unique_ptr<FileSystem>()> makeFileSystem = [] {
            return std::make_unique<PosixFileSystem>();
        };
        KeychainBackend& keychain;
        SerialQueue& keychainQueue;
        BiometricContextCreating& biometrics;
        // Invocation and delivery.
        AccessibilityService& accessibility;
        ApplicationWorkspace& workspace;
        ApplicationActivations& activations;
        std::function<std::unique_ptr<PasswordPickerPanel>()> makePickerPanel;
        // The seam of the way `traits.typing` names: Unicode key events, or the keymap.
        std::variant<std::reference_wrapper<KeyboardEventPosting>,
                     std::reference_wrapper<KeymapKeyboard>>
            keyboard;
        PasteboardService& pasteboard;
        AlertPresenting& alerts;
        // The shell.
        SessionInterruptions& interruptions;
        SettingsWindowController::WindowFactory makeSettingsWindow;
        SoftwareUpdater& updater;
        std::function<void()> terminate;
        PlatformTraits traits = PlatformTraits::macOS();
    };

    static std::shared_ptr<AppCoordinator> create(Platform& platform);
    AppCoordinator(ConstructionKey, Platform& platform);
    AppCoordinator(const AppCoordinator&) = delete;
    AppCoordinator& operator=(const AppCoordinator&) = delete;

    // Wires and starts every service, the updater included.
    void start();
    void stop();
    // Creates the Settings window on first use, then shows it.
    void showSettings();
    // A menu choice; the about panel is the platform's own.
    void perform(MenuAction action);

    Settings& settings() { return settings_; }
    InvocationCoordinator& invocationCoordinator() { return *invocationCoordinator_; }
    SecurePasswordService& securePasswords() { return *securePasswords_; }
    SettingsViewModel& settingsModel() { return *settingsModel_; }
    PermissionsManager& permissions() { return *permissions_; }

private:
    static std::unique_ptr<EntryCatalogStoring> makeRepository(Platform& platform);
    // The shortcut and "Show Password Picker": without Accessibility the user sees the system's
    // prompt and the Settings pane that explains it, not a picker.
    void invoke();
    void handleSessionInterruption();

    Platform& platform_;
    Logger logger_{"AppCoordinator"};
    StatusItemController statusItemController_;
    HotkeyManager hotkeyManager_;
    Settings settings_;
    std::shared_ptr<PermissionsManager> permissions_;
    std::shared_ptr<LoginItemService> loginItem_;
    std::unique_ptr<EntryCatalogStoring> repository_;
    SecretStore secretStore_;
    std::shared_ptr<SecurePasswordService> securePasswords_;
    InputInjector injector_;
    PasswordClipboard clipboard_;
    std::shared_ptr<InvocationCoordinator> invocationCoordinator_;
    std::unique_ptr<PasswordSettingsService> passwordSettings_;
    std::shared_ptr<SettingsViewModel> settingsModel_;
    std::shared_ptr<HotkeyRecorderModel> recorderModel_;
    std::shared_ptr<SettingsWindowController> settingsWindowController_;
    std::vector<Subscription> cancellables_;
    Subscription interruptionObserver_;
};

} // namespace kestrelle
