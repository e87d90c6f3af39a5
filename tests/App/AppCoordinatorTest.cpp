#include "App/AppCoordinator.h"

#include "App/ApplicationLifecycle.h"
#include "App/StatusItemController.h"
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
#include "Support/ManualExecutor.h"
#include "Support/ManualRepeatingTimers.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Phase = InvocationCoordinator::Phase;

constexpr std::int32_t editorPid = 42;

// The fake menu bar on a desktop that may have no tray to show it in.
class TrayStatusBar final : public StatusBar {
public:
    explicit TrayStatusBar(test::FakeStatusBar& bar) : bar(bar) {}
    void addItem(const StatusItemAppearance& appearance, const std::vector<MenuItemModel>& menu,
                 std::function<void(MenuAction)> onChoose) override {
        bar.addItem(appearance, menu, std::move(onChoose));
    }
    bool isAvailable() const override { return available; }
    test::FakeStatusBar& bar;
    bool available = true;
};

// The whole app on fakes: every service is real, every platform seam is a fake.
class AppCoordinatorTest : public ::testing::Test {
protected:
    AppCoordinatorTest() {
        auto field = test::FakeAccessibility::textField();
        auto editor =
            accessibility.addApplication(editorPid, {test::FakeAccessibility::group({field})});
        test::FakeAccessibility::focus(editor, field);
        workspace.frontmost = FrontmostApplication{editorPid, "com.example.editor"};
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

    // Adds an entry from Settings; its save waits for the biometric prompt.
    void submitEntry(const std::string& label) {
        coordinator->settingsModel().beginAdd();
        auto editor = coordinator->settingsModel().editorModel();
        editor->setLabel(label);
        editor->setPassword("correct horse");
        biometrics.outcome = test::FakePromptOutcome::hold;
        editor->submit();
        executor.runUntilIdle();
    }

    test::ManualExecutor executor;
    test::InMemoryKeyValueStore defaults;
    test::FakeStatusBar statusBar;
    TrayStatusBar tray{statusBar};
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
    std::unique_ptr<test::FakePickerPanel> madePanel = std::make_unique<test::FakePickerPanel>();
    test::FakePickerPanel* panel = madePanel.get();
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
        .statusBar = tray,
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
    std::shared_ptr<AppCoordinator> coordinator = AppCoordinator::create(platform);
    test::FakeRunningInstances instances;
    test::FakeMainMenu mainMenu;
    int aboutPanels = 0;
    ApplicationLifecycle lifecycle{{instances, mainMenu, coordinator, [this] { ++aboutPanels; }}};
};

TEST_F(AppCoordinatorTest, ASecondCopyActivatesTheFirstAndQuitsWithoutStarting) {
    instances.running = {7, 1};
    EXPECT_FALSE(lifecycle.didFinishLaunching());
    EXPECT_EQ(instances.askedFor, "app.kestrelle.Kestrelle");
    EXPECT_EQ(instances.activated, (std::vector<std::int32_t>{7}));
    EXPECT_EQ(instances.terminations, 1);
    EXPECT_TRUE(hotKeys.calls.empty());
}

TEST_F(AppCoordinatorTest, ALaunchRegistersTheShortcutAndEveryChangeOfItAndRoutesTheMainMenu) {
    instances.bundleIdentifier = "app.kestrelle.Kestrelle";
    ASSERT_TRUE(lifecycle.didFinishLaunching());
    EXPECT_EQ(hotKeys.calls, (std::vector<std::string>{"install", "register 49 2048"}));
    EXPECT_EQ(coordinator->settings().shortcutStatus(), ShortcutStatus::registered());
    EXPECT_EQ(statusBar.itemCount, 1);
    EXPECT_EQ(mainMenu.items, kestrelle::mainMenu());

    hotKeys.registerStatus = -9878;
    coordinator->settings().setHotkey(Hotkey{35, modifier::command | modifier::shift});
    EXPECT_EQ(coordinator->settings().shortcutStatus().kind(), ShortcutStatus::Kind::conflict);
    EXPECT_TRUE(alerts.shown.empty());
    hotKeys.registerStatus = 0;

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
    EXPECT_EQ(hotKeys.calls.back(), "remove");
    interruptions.interrupt(); // nobody listens any more
    coordinator->settings().setHotkey(Hotkey::defaultShortcut());
    EXPECT_EQ(hotKeys.activeRegistrations, 0);
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

TEST_F(AppCoordinatorTest, TheReuseWindowFromSettingsHoldsUntilTheScreenLocks) {
    coordinator->settings().setBiometricReuseWindow(BiometricReuseWindow::fiveMinutes);
    coordinator->start();
    pressShortcut();
    coordinator->invocationCoordinator().cancel();
    executor.advance(4min);
    pressShortcut();
    ASSERT_TRUE(panel->isVisible());
    EXPECT_EQ(prompts(), 1U);

    interruptions.interrupt();
    executor.runUntilIdle();
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(coordinator->invocationCoordinator().phase(), Phase::idle);
    pressShortcut();
    EXPECT_EQ(prompts(), 2U) << "inside the reuse window, yet asked again";
}

TEST_F(AppCoordinatorTest, SettingsPollsThePermissionWhileOpenAndClearsFormsOnClose) {
    coordinator->start();
    coordinator->showSettings();
    EXPECT_EQ(windows.content.model.get(), &coordinator->settingsModel());
    EXPECT_EQ(windows.calls, (std::vector<std::string>{"activate", "show", "make key"}));
    EXPECT_TRUE(coordinator->permissions().isPolling());

    pressShortcut(); // a reusable approval exists now
    windows.close();
    EXPECT_FALSE(coordinator->permissions().isPolling());
    EXPECT_FALSE(coordinator->securePasswords().hasReusableCredential());

    // A save that finishes after the window closed leaves it closed.
    submitEntry("GitHub");
    windows.close();
    windows.calls.clear();
    biometrics.last().approvePrompt();
    executor.runUntilIdle();
    EXPECT_TRUE(windows.calls.empty());

    // A failed save with the window open brings it back to the front.
    coordinator->showSettings();
    windows.calls.clear();
    submitEntry("Bank");
    biometrics.last().failPrompt(BiometricErrorCode::userCancel);
    executor.runUntilIdle();
    EXPECT_EQ(windows.calls, (std::vector<std::string>{"activate", "make key"}));
}

TEST_F(AppCoordinatorTest, WithoutATrayTheLaunchOpensSettingsAndStillAddsTheItem) {
    tray.available = false;
    coordinator->start();
    EXPECT_EQ(statusBar.itemCount, 1);
    ASSERT_EQ(windows.made, 1);
    EXPECT_TRUE(windows.last->visible);
}

// The first copy, which a copy launched later activates before quitting.
class ActivatedInstances final : public RunningInstances {
public:
    std::optional<std::string> mainBundleIdentifier() override { return std::nullopt; }
    std::int32_t currentProcessIdentifier() override { return 1; }
    std::vector<std::int32_t> runningApplications(const std::string&) override { return {1}; }
    void activate(std::int32_t) override {}
    void terminate() override {}
    Subscription observeActivations(std::function<void()> handler) override {
        return activations.subscribe(std::move(handler));
    }
    Signal<> activations;
};

TEST_F(AppCoordinatorTest, AnotherCopyActivatingThisOneShowsSettingsUntilTermination) {
    ActivatedInstances copies;
    ApplicationLifecycle first{{copies, mainMenu, coordinator, [] {}}};
    ASSERT_TRUE(first.didFinishLaunching());
    EXPECT_EQ(windows.made, 0);
    copies.activations.emit();
    ASSERT_EQ(windows.made, 1);
    EXPECT_TRUE(windows.last->visible);

    windows.close();
    first.willTerminate();
    copies.activations.emit();
    EXPECT_FALSE(windows.last->visible);
}

TEST(StatusItemControllerTest, InstallsOnceAndRunsTheHookOfTheChosenItemWhileItLives) {
    test::FakeStatusBar bar;
    std::vector<std::string> ran;
    {
        StatusItemController controller(bar);
        controller.onInvoke = [&] { ran.push_back("invoke"); };
        controller.onQuit = [&] { ran.push_back("quit"); };
        controller.install();
        controller.install();
        EXPECT_EQ(bar.itemCount, 1);
        EXPECT_EQ(bar.menu, statusMenu());

        bar.choose(MenuAction::showPasswordPicker);
        bar.choose(MenuAction::showSettings); // no hook: nothing happens
        bar.choose(MenuAction::quit);
        EXPECT_EQ(ran, (std::vector<std::string>{"invoke", "quit"}));
    }
    bar.choose(MenuAction::showPasswordPicker);
    EXPECT_EQ(ran.size(), 2U);
}

} // namespace
} // namespace kestrelle
