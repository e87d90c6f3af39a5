#include "App/AppCoordinator.h"

#include "App/ApplicationLifecycle.h"
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
#include "Support/InlineQueue.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualRepeatingTimers.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Phase = InvocationCoordinator::Phase;

constexpr std::int32_t editorPid = 42;

// The whole app on fakes: every service is real, every platform seam is a fake.
class AppCoordinatorTest : public ::testing::Test {
protected:
    AppCoordinatorTest() {
        auto field = test::FakeAccessibility::textField();
        auto editor =
            accessibility.addApplication(editorPid, {test::FakeAccessibility::group({field})});
        test::FakeAccessibility::focus(editor, field);
        workspace.frontmost = FrontmostApplication{editorPid, "com.example.editor"};
        coordinator = AppCoordinator::create(platform);
    }

    // Contexts are also made to read availability; these are the ones that showed a prompt.
    std::size_t prompts() const {
        return std::count_if(biometrics.made.begin(), biometrics.made.end(),
                             [](const auto& context) { return !context->reasons.empty(); });
    }

    // The shortcut, as the system delivers it.
    void pressShortcut() {
        hotKeys.press(HotkeyManager::hotKeyId);
        executor.runUntilIdle();
    }

    test::LogCapture log;
    test::ManualExecutor executor;
    test::InMemoryKeyValueStore defaults;
    test::FakeStatusBar statusBar;
    test::FakeHotKeyService hotKeys;
    bool trusted = true;
    int trustPrompts = 0;
    test::FakeSystemWorkspace systemWorkspace;
    test::FakeAppActivationNotifier appActivations;
    test::ManualRepeatingTimers timers{executor};
    std::shared_ptr<test::FakeLoginItemSystem> loginItems =
        std::make_shared<test::FakeLoginItemSystem>();
    test::TemporaryDirectory directory;
    test::FakeKeychainBackend keychain;
    test::InlineQueue keychainQueue;
    test::FakeBiometricContextFactory biometrics;
    test::FakeAccessibility accessibility;
    test::FakeApplicationWorkspace workspace;
    test::FakeApplicationActivations activations;
    test::FakePickerPanel* panel = nullptr;
    test::FakeKeyboardEvents keyboard{executor};
    test::FakePasteboard pasteboard;
    test::FakeAlerts alerts;
    test::FakeSessionInterruptions interruptions;
    test::FakeSettingsWindows windows;
    test::FakeSoftwareUpdater updater;
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
                auto made = std::make_unique<test::FakePickerPanel>();
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
    std::shared_ptr<AppCoordinator> coordinator;
};

TEST_F(AppCoordinatorTest, StartRegistersTheStoredShortcutAndEveryChangeOfIt) {
    coordinator->start();
    EXPECT_EQ(hotKeys.calls, (std::vector<std::string>{"install", "register 49 2048"}));
    EXPECT_EQ(coordinator->settings().shortcutStatus(), ShortcutStatus::registered());
    EXPECT_EQ(statusBar.itemCount, 1);

    hotKeys.registerStatus = -9878;
    coordinator->settings().setHotkey(Hotkey{35, modifier::command | modifier::shift});
    EXPECT_EQ(coordinator->settings().shortcutStatus(),
              ShortcutStatus::conflict("⇧⌘P is already in use. Choose another shortcut."));
    EXPECT_TRUE(alerts.shown.empty());
}

TEST_F(AppCoordinatorTest, APressWithoutAccessibilityPromptsAndOpensSettingsInstead) {
    coordinator->start();
    trusted = false;
    pressShortcut();
    EXPECT_EQ(trustPrompts, 1);
    EXPECT_EQ(windows.made, 1);
    EXPECT_TRUE(windows.last->visible);
    EXPECT_EQ(coordinator->invocationCoordinator().phase(), Phase::idle);
    EXPECT_EQ(prompts(), 0U);

    // The status menu's item runs the very same operation.
    statusBar.choose(MenuAction::showPasswordPicker);
    executor.runUntilIdle();
    EXPECT_EQ(trustPrompts, 2);
    EXPECT_EQ(windows.made, 1) << "the window is made once and reused";
}

TEST_F(AppCoordinatorTest, LockingTheScreenClosesThePickerAndTheNextPressPromptsAgain) {
    coordinator->settings().setBiometricReuseWindow(BiometricReuseWindow::thirtyMinutes);
    coordinator->start();
    pressShortcut();
    ASSERT_TRUE(panel->isVisible());
    ASSERT_EQ(prompts(), 1U);

    interruptions.interrupt();
    executor.runUntilIdle();
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(coordinator->invocationCoordinator().phase(), Phase::idle);

    executor.advance(1min);
    pressShortcut();
    EXPECT_EQ(prompts(), 2U) << "inside the reuse window, yet asked again";
}

TEST_F(AppCoordinatorTest, TheReuseWindowFromSettingsReachesTheService) {
    coordinator->settings().setBiometricReuseWindow(BiometricReuseWindow::fiveMinutes);
    coordinator->start();
    pressShortcut();
    coordinator->invocationCoordinator().cancel();
    executor.advance(4min);
    pressShortcut();
    EXPECT_EQ(prompts(), 1U);
}

TEST_F(AppCoordinatorTest, SettingsPollsThePermissionWhileOpenAndClearsFormsOnClose) {
    coordinator->start();
    coordinator->showSettings();
    EXPECT_EQ(windows.content.appearance.title, "Kestrelle Settings");
    EXPECT_EQ(windows.content.model.get(), &coordinator->settingsModel());
    EXPECT_EQ(windows.calls, (std::vector<std::string>{"activate", "show", "make key"}));
    EXPECT_TRUE(coordinator->permissions().isPolling());

    pressShortcut(); // a reusable approval exists now
    windows.close();
    EXPECT_FALSE(coordinator->permissions().isPolling());
    EXPECT_FALSE(coordinator->securePasswords().hasReusableCredential());
    EXPECT_TRUE(log.contains("Settings window will close; cancelling transient operations"));

    // A save that finishes after the window closed leaves it closed.
    coordinator->settingsModel().beginAdd();
    auto editor = coordinator->settingsModel().editorModel();
    editor->setLabel("GitHub");
    editor->setPassword("hunter2");
    biometrics.outcome = test::FakePromptOutcome::hold;
    editor->submit();
    executor.runUntilIdle();
    windows.close();
    windows.calls.clear();
    biometrics.last().approvePrompt();
    executor.runUntilIdle();
    EXPECT_TRUE(windows.calls.empty());
    EXPECT_TRUE(
        log.contains("Editor save completed after Settings closed; leaving the window closed"));

    // A failed save with the window open brings it back to the front.
    coordinator->showSettings();
    coordinator->settingsModel().beginAdd();
    editor = coordinator->settingsModel().editorModel();
    editor->setLabel("Bank");
    editor->setPassword("correct horse");
    windows.calls.clear();
    editor->submit();
    executor.runUntilIdle();
    biometrics.last().failPrompt(BiometricErrorCode::userCancel);
    executor.runUntilIdle();
    EXPECT_TRUE(log.contains("Editor save failed; restoring Settings focus for the visible error"));
    EXPECT_EQ(windows.calls, (std::vector<std::string>{"activate", "make key"}));
    EXPECT_EQ(windows.made, 1);
}

TEST_F(AppCoordinatorTest, StopUnregistersTheShortcutAndIgnoresLaterInterruptions) {
    coordinator->start();
    coordinator->stop();
    EXPECT_EQ(hotKeys.calls.back(), "remove");
    EXPECT_EQ(hotKeys.activeRegistrations, 0);
    interruptions.interrupt(); // nobody listens any more
    coordinator->settings().setHotkey(Hotkey::defaultShortcut());
    EXPECT_EQ(hotKeys.activeRegistrations, 0);
}

class ApplicationLifecycleTest : public AppCoordinatorTest {
protected:
    test::FakeRunningInstances instances;
    test::FakeMainMenu mainMenu;
    int aboutPanels = 0;
    ApplicationLifecycle lifecycle{{instances, mainMenu, coordinator, [this] { ++aboutPanels; }}};
};

TEST_F(ApplicationLifecycleTest, ASecondCopyActivatesTheFirstAndQuitsWithoutStarting) {
    instances.running = {7, 1};
    EXPECT_FALSE(lifecycle.didFinishLaunching());
    EXPECT_EQ(instances.askedFor, "app.kestrelle.Kestrelle");
    EXPECT_EQ(instances.activated, (std::vector<std::int32_t>{7}));
    EXPECT_EQ(instances.terminations, 1);
    EXPECT_TRUE(log.messages().empty());
    EXPECT_TRUE(hotKeys.calls.empty());
    EXPECT_EQ(statusBar.itemCount, 0);
}

TEST_F(ApplicationLifecycleTest, ALaunchStartsEverythingAndTheMainMenuRoutesItsChoices) {
    instances.bundleIdentifier = "app.kestrelle.Kestrelle";
    ASSERT_TRUE(lifecycle.didFinishLaunching());
    EXPECT_TRUE(log.contains("Kestrelle launching"));
    EXPECT_EQ(hotKeys.activeRegistrations, 1);
    EXPECT_EQ(mainMenu.items, kestrelle::mainMenu());

    mainMenu.choose(MenuAction::about);
    mainMenu.choose(MenuAction::checkForUpdates);
    mainMenu.choose(MenuAction::showSettings);
    mainMenu.choose(MenuAction::quit);
    EXPECT_EQ(aboutPanels, 1);
    EXPECT_EQ(updater.starts, 1);
    EXPECT_EQ(updater.checks, 1);
    EXPECT_EQ(windows.made, 1);
    EXPECT_EQ(terminations, 1);

    lifecycle.willTerminate();
    EXPECT_TRUE(log.contains("Kestrelle terminating"));
    EXPECT_EQ(hotKeys.activeRegistrations, 0);
    EXPECT_FALSE(ApplicationLifecycle::terminatesAfterLastWindowClosed);
}

} // namespace
} // namespace kestrelle
