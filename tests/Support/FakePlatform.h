#pragma once

#include "App/AppCoordinator.h"
#include "Support/FakeAccessibility.h"
#include "Support/FakeAlerts.h"
#include "Support/FakeAppActivationNotifier.h"
#include "Support/FakeApplicationActivations.h"
#include "Support/FakeApplicationWorkspace.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeHotKeyService.h"
#include "Support/FakeKeyboardEvents.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/FakeLoginItemSystem.h"
#include "Support/FakePasteboard.h"
#include "Support/FakePickerPanel.h"
#include "Support/FakeShell.h"
#include "Support/FakeStatusBar.h"
#include "Support/FakeSystemWorkspace.h"
#include "Support/InMemoryKeyValueStore.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualRepeatingTimers.h"
#include "Support/TemporaryDirectory.h"

#include <memory>

namespace kestrelle::test {

// Every platform seam of the whole app as a fake, wired into an AppCoordinator::Platform; the
// catalog lives in a temporary directory.
struct FakePlatform {
    static constexpr std::string_view bundleIdentifier = "app.kestrelle.Kestrelle";

    FakePlatform(ManualExecutor& executor, SerialQueue& keychainQueue)
        : executor(executor), keychainQueue(keychainQueue) {}
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;

    ManualExecutor& executor;
    SerialQueue& keychainQueue;
    InMemoryKeyValueStore defaults;
    FakeStatusBar statusBar;
    FakeHotKeyService hotKeys;
    bool trusted = true;
    int trustPrompts = 0;
    FakeSystemWorkspace systemWorkspace;
    FakeAppActivationNotifier appActivations;
    ManualRepeatingTimers timers{executor};
    std::shared_ptr<FakeLoginItemSystem> loginItems = std::make_shared<FakeLoginItemSystem>();
    TemporaryDirectory directory;
    FakeKeychainBackend keychain;
    FakeBiometricContextFactory biometrics;
    FakeAccessibility accessibility;
    FakeApplicationWorkspace workspace;
    FakeApplicationActivations activations;
    // The picker's panel, once the coordinator made it.
    FakePickerPanel* panel = nullptr;
    FakeKeyboardEvents keyboard{executor};
    FakePasteboard pasteboard;
    FakeAlerts alerts;
    FakeSessionInterruptions interruptions;
    FakeSettingsWindows windows;
    FakeSoftwareUpdater updater;
    int terminations = 0;

    AppCoordinator::Platform platform{
        .executor = executor,
        .defaults = defaults,
        .statusBar = statusBar,
        .hotKeys = hotKeys,
        .trustProbe = [this] { return trusted; },
        .trustPrompt = [this] { ++trustPrompts; },
        .systemWorkspace = systemWorkspace,
        .appActivations = appActivations,
        .timers = timers,
        .bundle = RunningBundle{"/Applications/Kestrelle.app", std::string(bundleIdentifier)},
        .loginItems = loginItems,
        .dataDirectory = [this] { return directory.path(); },
        .keychain = keychain,
        .keychainQueue = keychainQueue,
        .biometrics = biometrics,
        .accessibility = accessibility,
        .workspace = workspace,
        .activations = activations,
        .makePickerPanel =
            [this] {
                auto made = std::make_unique<FakePickerPanel>();
                panel = made.get();
                return made;
            },
        .keyboard = keyboard,
        .pasteboard = pasteboard,
        .alerts = alerts,
        .interruptions = interruptions,
        .makeSettingsWindow =
            [this](SettingsWindowContent content) { return windows.make(std::move(content)); },
        .updater = updater,
        .terminate = [this] { ++terminations; },
    };
};

} // namespace kestrelle::test
