#include "Shortcut/Hotkey.h"

#include "Shortcut/HotkeyManager.h"
#include "Support/FakeHotKeyService.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"

#include <gtest/gtest.h>
#include <set>

namespace kestrelle {
namespace {

using namespace modifier;
using Calls = std::vector<std::string>;
constexpr std::uint64_t capsLock = 0x10000;

TEST(HotkeyTest, ShowsControlOptionShiftCommandThenTheKeyAndCarbonGetsOnlyThoseFour) {
    EXPECT_EQ((Hotkey{0, command | shift | option | control | capsLock}).displayString(), "⌃⌥⇧⌘A");
    EXPECT_EQ((Hotkey{35, command | shift}).displayString(), "⇧⌘P");
    EXPECT_EQ(Hotkey::defaultShortcut().displayString(), "⌥␣");
    // Carbon's cmdKey, shiftKey, optionKey and controlKey.
    for (auto [flag, carbon] :
         {std::pair{command, 0x100U}, {shift, 0x200U}, {option, 0x800U}, {control, 0x1000U}}) {
        EXPECT_EQ((Hotkey{0, flag | capsLock}).carbonModifiers(), carbon) << carbon;
    }
}

TEST(HotkeyTest, EachLetterAndDigitHasOneKeyAndUnlabelledKeysShowADot) {
    std::multiset<std::string> labels;
    for (std::uint32_t code = 0; code < 128; ++code) {
        if (auto label = usKeyLabel(code)) {
            labels.insert(*label);
        }
    }
    std::multiset<std::string> expected;
    for (char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789")) {
        expected.insert(std::string(1, c));
    }
    EXPECT_EQ(labels, expected);
    EXPECT_EQ(glyph(6), usKeyLabel(6));
    EXPECT_EQ(glyph(96), "•"); // F5
}

TEST(HotkeyTest, TypingKeysNeedCommandOptionOrControlAndCommandQWSpaceAreReserved) {
    const std::string typing = "Add ⌘, ⌥, or ⌃ so the shortcut does not replace normal typing.";
    const std::pair<Hotkey, std::optional<std::string>> cases[] = {
        {{0, shift}, typing},
        {{29, capsLock}, typing},
        {{0, control}, std::nullopt},
        {{96, 0}, std::nullopt},
        {{49, 0}, std::nullopt},
        {{12, command}, "⌘Q is reserved."},
        {{13, command}, "⌘W is reserved."},
        {{49, command | capsLock}, "⌘Space is reserved."},
        {{12, command | shift}, std::nullopt},
        {{49, command | option}, std::nullopt},
    };
    for (const auto& [hotkey, expected] : cases) {
        SCOPED_TRACE(hotkey.displayString());
        EXPECT_EQ(hotkey.validationError(), expected);
    }
}

struct HotkeyManagerTest : ::testing::Test {
    test::ManualExecutor executor;
    test::FakeHotKeyService service;
    HotkeyManager manager{service, executor};
};

TEST_F(HotkeyManagerTest, KeepsOneRegistrationAndLeavesNoneWhenRefused) {
    test::LogCapture log;
    EXPECT_EQ(manager.registerHotkey(Hotkey::defaultShortcut()), ShortcutStatus::registered());
    EXPECT_EQ(manager.registerHotkey(Hotkey::defaultShortcut()), ShortcutStatus::registered());
    EXPECT_EQ(service.calls,
              (Calls{"install", "register 49 2048", "unregister", "register 49 2048"}));
    EXPECT_EQ(service.lastId, (HotKeyId{0x6B73746C, 1}));

    EXPECT_EQ(manager.registerHotkey(Hotkey{12, command}),
              ShortcutStatus::invalid("⌘Q is reserved."));
    EXPECT_FALSE(manager.isRegistered());
    service.registerStatus = -9878;
    EXPECT_EQ(manager.registerHotkey(Hotkey{35, command}).kind(), ShortcutStatus::Kind::conflict);
    EXPECT_EQ(service.activeRegistrations, 0);
    // Only the system's refusal is logged, with its status.
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_EQ(log.records()[0].level, LogLevel::error);
    EXPECT_TRUE(log.records()[0].message.ends_with("-9878"));

    test::FakeHotKeyService failingInstall;
    failingInstall.installStatus = -50;
    HotkeyManager other(failingInstall, executor);
    // Rules come before the handler: a refused shortcut installs nothing.
    EXPECT_EQ(other.registerHotkey(Hotkey{0, 0}).kind(), ShortcutStatus::Kind::invalid);
    EXPECT_EQ(other.registerHotkey(Hotkey::defaultShortcut()),
              ShortcutStatus::conflict("Kestrelle could not install its shortcut handler."));
    EXPECT_EQ(failingInstall.calls, Calls{"install"});
}

TEST_F(HotkeyManagerTest, PressesReachOnFireLaterOnlyWithOurIdentityAndWhileTheManagerLives) {
    int fired = 0;
    manager.setOnFire([&] { ++fired; });
    manager.registerHotkey(Hotkey::defaultShortcut());
    service.press(HotkeyManager::hotKeyId);
    EXPECT_EQ(fired, 0) << "never inside the platform's callback";
    service.press(HotKeyId{0x6B73746C, 2});
    service.press(HotKeyId{0x41424344, 1});
    executor.runUntilIdle();
    EXPECT_EQ(fired, 1);

    test::FakeHotKeyService other;
    {
        HotkeyManager scoped(other, executor);
        scoped.setOnFire([&] { ++fired; });
        scoped.registerHotkey(Hotkey::defaultShortcut());
        other.press(HotkeyManager::hotKeyId); // queued, then the manager goes away
        scoped.unregister();
        EXPECT_EQ(other.calls, (Calls{"install", "register 49 2048", "unregister", "remove"}));
        scoped.registerHotkey(Hotkey::defaultShortcut());
        EXPECT_EQ(other.calls.at(4), "install");
    }
    EXPECT_EQ(other.calls.back(), "remove");
    executor.runUntilIdle();
    EXPECT_EQ(fired, 1);
}

} // namespace
} // namespace kestrelle
