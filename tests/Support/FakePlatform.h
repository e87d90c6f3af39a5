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
#include "Support/FaultyFileSystem.h"
#include "Support/InMemoryKeyValueStore.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualQueue.h"
#include "Support/ManualRepeatingTimers.h"
#include "Support/TemporaryDirectory.h"

namespace kestrelle::test {

// Every platform seam of the app as a fake, in virtual time, and the macOS platform record that
// names them. Keychain calls wait in `keychainQueue` unless it runs them at once.
struct FakePlatform {
    ManualExecutor executor;
    ManualQueue keychainQueue;
    InMemoryKeyValueStore defaults;
    FakeStatusBar statusBar;
    FakeHotKeyService hotKeys;
    bool trusted = true;
    int trustPrompts = 0;
    FakeSystemWorkspace systemWorkspace;
    FakeAppActivationNotifier appActivations;
    ManualRepeatingTimers timers{executor};
    TemporaryDirectory directory;
    // The entry catalog's file system, once the coordinator made it.
    FaultyFileSystem* fileSystem = nullptr;
    FakeKeychainBackend keychain;
    FakeBiometricContextFactory biometrics;
    FakeAccessibility accessibility;
    FakeApplicationWorkspace workspace;
    FakeApplicationActivations activations;
    std::unique_ptr<FakePickerPanel> madePanel = std::make_unique<FakePickerPanel>();
    FakePickerPanel* panel = madePanel.get();
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
        .bundle = RunningBundle{"/Applications/Kestrelle.app", "app.kestrelle.Kestrelle"},
        .loginItems = std::make_shared<FakeLoginItemSystem>(),
        .dataDirectory = [this] { return directory.path(); },
        .makeFileSystem =
            [this] {
                auto made = std::make_unique<FaultyFileSystem>();
                fileSystem = made.get();
                return made;
            },
        .keychain = keychain,
        .keychainQueue = keychainQueue,
        .biometrics = biometrics,
        .accessibility = accessibility,
        .workspace = workspace,
        .activations = activations,
        .makePickerPanel = [this] { return std::move(madePanel); },
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
