#include "Shortcut/Hotkey.h"

#include "Shortcut/HotkeyManager.h"
#include "Support/FakeHotKeyService.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace kestrelle {
namespace {

using namespace modifier;
using Calls = std::vector<std::string>;
using Kind = ShortcutStatus::Kind;
constexpr std::uint64_t capsLock = 0x10000;

TEST(HotkeyTest, ShowsAndRegistersTheFourModifiersOnlyAndRefusesTypingKeysAndReservedOnes) {
    EXPECT_EQ((Hotkey{0, command | shift | option | control | capsLock}).displayString(), "⌃⌥⇧⌘A");
    // Carbon's cmdKey, shiftKey, optionKey and controlKey.
    for (auto [flag, carbon] :
         {std::pair{command, 0x100U}, {shift, 0x200U}, {option, 0x800U}, {control, 0x1000U}}) {
        EXPECT_EQ((Hotkey{0, flag | capsLock}).carbonModifiers(), carbon) << carbon;
    }
    // Each letter and digit has one key; unlabelled keys show a dot.
    std::string labels;
    for (std::uint32_t code = 0; code < 128; ++code) {
        labels += usKeyLabel(code).value_or("");
    }
    std::sort(labels.begin(), labels.end());
    EXPECT_EQ(labels, "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_EQ(glyph(96), "•"); // F5

    // Typing keys need ⌘, ⌥ or ⌃; ⌘Q, ⌘W and ⌘Space are reserved.
    for (Hotkey accepted : {Hotkey{0, control}, Hotkey{96, 0}, Hotkey{49, 0},
                            Hotkey{12, command | shift}, Hotkey{49, command | option}}) {
        EXPECT_EQ(accepted.validationError(), std::nullopt) << accepted.displayString();
    }
    for (auto [refused, reason] :
         {std::pair{Hotkey{0, shift}, "typing"}, std::pair{Hotkey{29, capsLock}, "typing"},
          std::pair{Hotkey{12, command}, "⌘Q"}, std::pair{Hotkey{13, command}, "⌘W"},
          std::pair{Hotkey{49, command | capsLock}, "⌘Space"}}) {
        EXPECT_THAT(refused.validationError().value_or(""), testing::HasSubstr(reason))
            << refused.displayString();
    }
}

TEST(HotkeyManagerTest, KeepsOneRegistrationAndPassesOnlyItsOwnPressesLaterWhileItLives) {
    test::LogCapture log;
    test::ManualExecutor executor;
    test::FakeHotKeyService service;
    HotkeyManager manager{service, executor};
    EXPECT_EQ(manager.registerHotkey(Hotkey::defaultShortcut()), ShortcutStatus::registered());
    EXPECT_EQ(manager.registerHotkey(Hotkey::defaultShortcut()), ShortcutStatus::registered());
    EXPECT_EQ(service.calls,
              (Calls{"install", "register 49 2048", "unregister", "register 49 2048"}));

    int fired = 0;
    manager.setOnFire([&] { ++fired; });
    service.press(service.lastId);
    EXPECT_EQ(fired, 0) << "never inside the platform's callback";
    service.press(HotKeyId{service.lastId.signature, service.lastId.id + 1});
    service.press(HotKeyId{service.lastId.signature + 1, service.lastId.id});
    executor.runUntilIdle();
    EXPECT_EQ(fired, 1);

    // A refused shortcut leaves no registration; only the system's refusal is logged.
    EXPECT_EQ(manager.registerHotkey(Hotkey{12, command}).kind(), Kind::invalid);
    EXPECT_FALSE(manager.isRegistered());
    service.registerStatus = -9878;
    EXPECT_EQ(manager.registerHotkey(Hotkey{35, command}).kind(), Kind::conflict);
    EXPECT_EQ(service.activeRegistrations, 0);
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_TRUE(log.records()[0].message.ends_with("-9878"));
    EXPECT_EQ(log.records()[0].subsystem, fixedBundleIdentifier);

    test::FakeHotKeyService failingInstall;
    failingInstall.installStatus = -50;
    HotkeyManager other(failingInstall, executor);
    // Rules come before the handler: a refused shortcut installs nothing.
    EXPECT_EQ(other.registerHotkey(Hotkey{0, 0}).kind(), Kind::invalid);
    EXPECT_EQ(other.registerHotkey(Hotkey::defaultShortcut()).kind(), Kind::conflict);
    EXPECT_EQ(failingInstall.calls, Calls{"install"});

    test::FakeHotKeyService scopedService;
    {
        HotkeyManager scoped(scopedService, executor);
        scoped.setOnFire([&] { ++fired; });
        scoped.registerHotkey(Hotkey::defaultShortcut());
        scopedService.press(HotkeyManager::hotKeyId); // queued, then the manager goes away
        scoped.unregister();
        EXPECT_EQ(scopedService.calls,
                  (Calls{"install", "register 49 2048", "unregister", "remove"}));
        scoped.registerHotkey(Hotkey::defaultShortcut());
        EXPECT_EQ(scopedService.calls.at(4), "install");
    }
    EXPECT_EQ(scopedService.calls.back(), "remove");
    executor.runUntilIdle();
    EXPECT_EQ(fired, 1);
}

} // namespace
} // namespace kestrelle
