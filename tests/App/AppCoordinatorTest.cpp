#include "App/AppCoordinator.h"

#include "App/ApplicationLifecycle.h"
#include "Support/FakePlatform.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Phase = InvocationCoordinator::Phase;

constexpr std::int32_t editorPid = 42;

// The whole app on fakes: every service is real, every platform seam is a fake.
class AppCoordinatorTest : public ::testing::Test, protected test::FakePlatform {
protected:
    AppCoordinatorTest() {
        keychainQueue.runsAtOnce = true;
        auto field = test::FakeAccessibility::textField();
        auto editor =
            accessibility.addApplication(editorPid, {test::FakeAccessibility::group({field})});
        test::FakeAccessibility::focus(editor, field);
        workspace.frontmost = FrontmostApplication{editorPid, "com.example.editor"};
    }

    // Contexts are also made to read availability; these are the ones that showed a prompt.
    std::size_t prompts() const {
        return std::ranges::count_if(biometrics.made,
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

    int aboutPanels = 0;
    std::shared_ptr<AppCoordinator> coordinator = AppCoordinator::create(platform);
    test::FakeRunningInstances instances;
    test::FakeMainMenu mainMenu;
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

TEST_F(AppCoordinatorTest, ALaunchRegistersTheShortcutAndEveryChangeOfItAndRoutesBothMenus) {
    instances.bundleIdentifier = "app.kestrelle.Kestrelle";
    ASSERT_TRUE(lifecycle.didFinishLaunching());
    EXPECT_EQ(hotKeys.calls, (std::vector<std::string>{"install", "register 49 2048"}));
    EXPECT_EQ(coordinator->settings().shortcutStatus(), ShortcutStatus::registered());
    EXPECT_EQ(statusBar.menu, statusMenu());
    EXPECT_EQ(mainMenu.items, kestrelle::mainMenu());
    EXPECT_EQ(updater.starts, 1);

    hotKeys.registerStatus = -9878;
    coordinator->settings().setHotkey(Hotkey{Key::p, modifier::command | modifier::shift});
    EXPECT_EQ(coordinator->settings().shortcutStatus().kind(), ShortcutStatus::Kind::conflict);
    EXPECT_TRUE(alerts.shown.empty());
    hotKeys.registerStatus = 0;

    // The status menu has no About item: its choice does nothing.
    for (const auto& choose : {mainMenu.choose, statusBar.choose}) {
        for (auto action : {MenuAction::about, MenuAction::checkForUpdates,
                            MenuAction::showSettings, MenuAction::quit}) {
            choose(action);
        }
    }
    EXPECT_EQ(aboutPanels, 1);
    EXPECT_EQ(updater.checks, 2);
    EXPECT_EQ(windows.made, 1);
    EXPECT_TRUE(windows.last->visible);
    EXPECT_EQ(terminations, 2);

    lifecycle.willTerminate();
    EXPECT_EQ(hotKeys.calls.back(), "remove");
    interruptions.interrupt(); // nobody listens any more
    coordinator->settings().setHotkey(Hotkey::defaultShortcut(PlatformTraits::Keyboard::mac));
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

TEST_F(AppCoordinatorTest, WithTheReleaseTraitTheShortcutInvokesOnlyWhenReleased) {
    platform.traits.invocationStart = PlatformTraits::InvocationStart::release;
    madePanel = std::make_unique<test::FakePickerPanel>();
    coordinator = AppCoordinator::create(platform);
    coordinator->start();
    hotKeys.press(HotkeyManager::hotKeyId, {HotKeyTransition::pressed});
    executor.runUntilIdle();
    EXPECT_EQ(prompts(), 0U);
    hotKeys.press(HotkeyManager::hotKeyId, {HotKeyTransition::released});
    executor.runUntilIdle();
    EXPECT_EQ(prompts(), 1U);
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

    coordinator->settingsModel().beginAdd();
    interruptions.interrupt();
    executor.runUntilIdle();
    EXPECT_FALSE(coordinator->settingsModel().editorModel()) << "a half-typed password is dropped";
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

// macOS protects the catalog file through its own file system; the writes must reach it.
TEST_F(AppCoordinatorTest, TheEntryCatalogIsWrittenThroughThePlatformsFileSystem) {
    ASSERT_TRUE(lifecycle.didFinishLaunching());
    submitEntry("GitHub");
    biometrics.last().approvePrompt();
    executor.runUntilIdle();
    ASSERT_NE(fileSystem, nullptr);
    EXPECT_NE(std::ranges::find(fileSystem->steps, test::FaultyFileSystem::Step::rename),
              fileSystem->steps.end());
}

// Typing through the keymap needs the platform's keymap keyboard, not its Unicode events.
TEST_F(AppCoordinatorTest, RefusesToStartWithoutTheKeyboardItsWayOfTypingNeeds) {
    auto x11 = platform;
    x11.traits = PlatformTraits::x11();
    x11.makePickerPanel = [] { return std::make_unique<test::FakePickerPanel>(); };
    EXPECT_DEATH(AppCoordinator::create(x11), "keyboard its way of typing needs");
}

TEST_F(AppCoordinatorTest, WithoutATrayTheLaunchOpensSettingsAndStillAddsTheItem) {
    statusBar.available = false;
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

// Where the system's packages update the app, its menu offers no update check.
TEST(StatusItemControllerTest, OffersAnUpdateCheckOnlyWhereTheAppUpdatesItself) {
    test::FakeStatusBar bar;
    StatusItemController controller(bar, PlatformTraits::x11().updatesItself);
    controller.install();
    auto expected = statusMenu();
    std::erase_if(expected, [](const MenuItemModel& item) {
        return !item.isSeparator && item.action == MenuAction::checkForUpdates;
    });
    EXPECT_EQ(bar.menu, expected);
}

// The platform's menu may outlive the controller.
TEST(StatusItemControllerTest, InstallsOnceAndIgnoresChoicesOnceGone) {
    test::FakeStatusBar bar;
    int invoked = 0;
    {
        StatusItemController controller(bar);
        controller.onInvoke = [&] { ++invoked; };
        controller.install();
        controller.install();
    }
    EXPECT_EQ(bar.itemCount, 1);
    bar.choose(MenuAction::showPasswordPicker);
    EXPECT_EQ(invoked, 0);
}

} // namespace
} // namespace kestrelle
