#include "Shortcut/Hotkey.h"

#include "Runtime/MacKey.h"
#include "Runtime/X11Key.h"
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
using Keyboard = PlatformTraits::Keyboard;
using testing::HasSubstr;
constexpr std::uint64_t capsLock = 0x10000;
constexpr auto mac = Keyboard::mac, x11 = Keyboard::x11;
const Hotkey optionSpace = Hotkey::defaultShortcut(mac);

TEST(KeyTablesTest, EveryKeyAndModifierSetHasAPlatformNumberThatNamesItBack) {
    for (const auto keyboard : {mac, x11}) {
        SCOPED_TRACE(static_cast<int>(keyboard));
        std::string typingKeys;
        for (std::size_t index = 0; index < keyCount; ++index) {
            const auto key = static_cast<Key>(index);
            EXPECT_EQ(hotkeyKey(platformKeyCode(key, keyboard), keyboard), HotkeyKey{key});
            typingKeys += isTypingKey(key) ? Hotkey{key, 0}.displayString(keyboard) : "";
        }
        std::ranges::sort(typingKeys);
        EXPECT_EQ(typingKeys, "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ");
        // The four bits are adjacent, so this visits every set of them; other bits are dropped.
        const auto& modifiers = keyboard == mac ? macModifiers : x11Modifiers;
        for (std::uint64_t flags = 0; flags <= deviceIndependentMask; flags += shift) {
            const auto mask = platformModifierMask(modifiers, flags | capsLock);
            EXPECT_EQ(modifierFlags(modifiers, mask | x11LockVariants.back()), flags);
        }
    }
}

// A number shared by two keys would name only one of them.
TEST(KeyTablesTest, EveryPlatformNumberNamesAtMostOneKeyWhoseNumberItIs) {
    for (const auto keyboard : {mac, x11}) {
        std::size_t named = 0;
        for (std::uint32_t code = 0; code < 0x10000; ++code) {
            const auto key = keyFromPlatformCode(code, keyboard);
            named += key && platformKeyCode(*key, keyboard) == code;
        }
        EXPECT_EQ(named, keyCount);
    }
}

// Modifiers in the order ⌃⌥⇧⌘ (Ctrl, Alt, Shift, Super), then the key. Letters and digits need
// a modifier other than Shift; each platform reserves its own shortcuts.
TEST(HotkeyTest, EachPlatformShowsAndChecksShortcutsInItsOwnTerms) {
    constexpr auto all = command | shift | option | control | capsLock;
    const struct {
        Keyboard keyboard;
        Hotkey hotkey;
        std::string shown, refusal;
    } cases[] = {
        {mac, Hotkey::defaultShortcut(mac), "⌥␣", ""},
        {mac, {Key::a, all}, "⌃⌥⇧⌘A", ""},
        {mac, {Key::f5, 0}, "•", ""},
        {mac, {UnnamedKey{0xFFFF}, option}, "⌥•", ""},
        {mac, {Key::q, command | shift}, "⇧⌘Q", ""},
        {mac, {Key::tab, option}, "⌥⇥", ""},
        {mac, {Key::a, shift}, "⇧A", "Add ⌘, ⌥, or ⌃ so"},
        {mac, {Key::q, command}, "⌘Q", "⌘Q is reserved."},
        {mac, {Key::w, command}, "⌘W", "⌘W is reserved."},
        {mac, {Key::space, command | capsLock}, "⌘␣", "⌘Space is reserved."},
        {x11, Hotkey::defaultShortcut(x11), "Ctrl+Alt+Space", ""},
        {x11, {Key::a, all}, "Ctrl+Alt+Shift+Super+A", ""},
        {x11, {Key::f5, 0}, "F5", ""},
        {x11, {Key::a, shift}, "Shift+A", "Add Ctrl, Alt, or Super so"},
        {x11, {Key::tab, option | capsLock}, "Alt+Tab", "Alt+Tab is reserved."},
    };
    for (const auto& [keyboard, hotkey, shown, refusal] : cases) {
        SCOPED_TRACE(shown);
        EXPECT_EQ(hotkey.displayString(keyboard), shown);
        const auto error = hotkey.validationError(keyboard);
        EXPECT_EQ(error.has_value(), !refusal.empty());
        EXPECT_THAT(error.value_or(""), HasSubstr(refusal));
    }
    // Carbon's cmdKey, shiftKey, optionKey and controlKey.
    for (auto [flag, carbon] :
         {std::pair{command, 0x100U}, {shift, 0x200U}, {option, 0x800U}, {control, 0x1000U}}) {
        EXPECT_EQ(platformModifierMask(macModifiers, flag | capsLock), carbon) << carbon;
    }
}

TEST(HotkeyManagerTest, KeepsOneRegistrationAndPassesOnlyItsOwnPressesLaterWhileItLives) {
    test::LogCapture log;
    test::ManualExecutor executor;
    test::FakeHotKeyService service;
    HotkeyManager manager{service, executor, mac};
    EXPECT_EQ(manager.registerHotkey(optionSpace), ShortcutStatus::registered());
    EXPECT_EQ(manager.registerHotkey(optionSpace), ShortcutStatus::registered());
    EXPECT_EQ(service.calls,
              (Calls{"install", "register 49 2048", "unregister", "register 49 2048"}));

    int fired = 0;
    manager.setOnPress([&] { ++fired; });
    service.press(service.lastId);
    EXPECT_EQ(fired, 0) << "never inside the platform's callback";
    service.press(HotKeyId{service.lastId.signature, service.lastId.id + 1});
    service.press(HotKeyId{service.lastId.signature + 1, service.lastId.id});
    executor.runUntilIdle();
    EXPECT_EQ(fired, 1);

    // A refused shortcut leaves no registration; only the system's refusal is logged.
    EXPECT_EQ(manager.registerHotkey(Hotkey{Key::q, command}).kind(), Kind::invalid);
    EXPECT_FALSE(manager.isRegistered());
    service.registerStatus = -9878;
    EXPECT_EQ(manager.registerHotkey(Hotkey{Key::p, command}),
              ShortcutStatus::conflict("⌘P is already in use. Choose another shortcut."));
    EXPECT_EQ(service.activeRegistrations, 0);
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_TRUE(log.records()[0].message.ends_with("-9878"));
    EXPECT_EQ(log.records()[0].subsystem, fixedBundleIdentifier);

    test::FakeHotKeyService failingInstall;
    failingInstall.failsInstall = true;
    HotkeyManager other(failingInstall, executor, mac);
    // Rules come before the handler: a refused shortcut installs nothing.
    EXPECT_EQ(other.registerHotkey(Hotkey{Key::a, 0}).kind(), Kind::invalid);
    EXPECT_EQ(other.registerHotkey(optionSpace).kind(), Kind::conflict);
    EXPECT_EQ(failingInstall.calls, Calls{"install"});

    test::FakeHotKeyService scopedService;
    {
        HotkeyManager scoped(scopedService, executor, mac);
        scoped.setOnPress([&] { ++fired; });
        scoped.registerHotkey(optionSpace);
        scopedService.press(HotkeyManager::hotKeyId); // queued, then the manager goes away
        scoped.unregister();
        EXPECT_EQ(scopedService.calls,
                  (Calls{"install", "register 49 2048", "unregister", "remove"}));
        scoped.registerHotkey(optionSpace);
        EXPECT_EQ(scopedService.calls.at(4), "install");
    }
    EXPECT_EQ(scopedService.calls.back(), "remove");
    executor.runUntilIdle();
    EXPECT_EQ(fired, 1);
}

TEST(HotkeyManagerTest, OnX11GrabsEveryLockStateAndCallsOncePerKeystrokeThoughPressesRepeat) {
    test::ManualExecutor executor;
    test::FakeHotKeyService service;
    HotkeyManager manager{service, executor, x11};
    std::string calls;
    manager.setOnPress([&] { calls += "P"; });
    manager.setOnRelease([&] { calls += "R"; });
    manager.registerHotkey(Hotkey::defaultShortcut(x11));
    // Space with Ctrl+Alt, alone and with Caps Lock, Num Lock and both.
    EXPECT_EQ(service.calls.back(), "register 32 12 14 28 30");

    using enum HotKeyTransition;
    service.press(HotkeyManager::hotKeyId,
                  {released, pressed, pressed, pressed, released, released, pressed});
    executor.runUntilIdle();
    EXPECT_EQ(calls, "PRP");
    // The held shortcut's release went to the old registration: the next press still counts.
    manager.registerHotkey(Hotkey::defaultShortcut(x11));
    service.press(HotkeyManager::hotKeyId, {pressed});
    executor.runUntilIdle();
    EXPECT_EQ(calls, "PRPP");

    service.registerStatus = 2; // BadValue
    service.refusalReason = HotKeyRefusal::Reason::failed;
    EXPECT_EQ(manager.registerHotkey(Hotkey{Key::p, command}),
              ShortcutStatus::conflict("Kestrelle could not register Super+P."));
}

} // namespace
} // namespace kestrelle
