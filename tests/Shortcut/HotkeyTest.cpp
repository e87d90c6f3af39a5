#include "Shortcut/Hotkey.h"

#include "Shortcut/HotkeyManager.h"
#include "Support/FakeHotKeyService.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace modifier;

TEST(HotkeyTest, DisplaysModifiersInControlOptionShiftCommandOrder) {
    EXPECT_EQ((Hotkey{49, control | option}).displayString(), "⌃⌥␣");
    EXPECT_EQ((Hotkey{35, command | shift}).displayString(), "⇧⌘P");
    EXPECT_EQ((Hotkey{0, command | shift | option | control}).displayString(), "⌃⌥⇧⌘A");
    EXPECT_EQ(Hotkey::defaultShortcut().displayString(), "⌥␣");
    // Bits outside the four modifiers are carried but never shown.
    EXPECT_EQ((Hotkey{25, option | 0x10000}).displayString(), "⌥9");
}

TEST(HotkeyTest, GlyphsForSpecialKeysLabelsForLettersAndDigitsADotForTheRest) {
    const std::vector<std::pair<std::uint32_t, std::string>> expected{
        {36, "↩"},  {76, "↩"},  {48, "⇥"},  {49, "␣"},  {51, "⌫"}, {53, "⎋"},
        {123, "←"}, {124, "→"}, {125, "↓"}, {126, "↑"}, {0, "A"},  {6, "Z"},
        {29, "0"},  {25, "9"},  {96, "•"},  {82, "•"},  {27, "•"}};
    for (const auto& [code, text] : expected) {
        EXPECT_EQ(glyph(code), text) << code;
    }
}

TEST(HotkeyTest, CarbonModifiersKeepOnlyTheFourModifiers) {
    EXPECT_EQ((Hotkey{0, command | shift | option | control | 0x10000}).carbonModifiers(),
              0x100U | 0x200U | 0x800U | 0x1000U);
    EXPECT_EQ((Hotkey{0, option}).carbonModifiers(), 0x800U);
    EXPECT_EQ((Hotkey{0, 0}).carbonModifiers(), 0U);
}

TEST(HotkeyTest, LettersAndDigitsNeedCommandOptionOrControl) {
    const std::string message = "Add ⌘, ⌥, or ⌃ so the shortcut does not replace normal typing.";
    EXPECT_EQ((Hotkey{0, shift}).validationError(), message);
    EXPECT_EQ((Hotkey{29, 0}).validationError(), message);
    EXPECT_FALSE((Hotkey{0, control}).validationError());
    // Keys outside the table pass even with no modifier at all.
    EXPECT_FALSE((Hotkey{96, 0}).validationError());
    EXPECT_FALSE((Hotkey{49, 0}).validationError());
}

TEST(HotkeyTest, CommandAloneWithQWOrSpaceIsReserved) {
    EXPECT_EQ((Hotkey{12, command}).validationError(), "⌘Q is reserved.");
    EXPECT_EQ((Hotkey{13, command}).validationError(), "⌘W is reserved.");
    EXPECT_EQ((Hotkey{49, command}).validationError(), "⌘Space is reserved.");
    EXPECT_EQ((Hotkey{49, command | 0x10000}).validationError(), "⌘Space is reserved.");
    EXPECT_FALSE((Hotkey{12, command | shift}).validationError());
    EXPECT_FALSE((Hotkey{49, command | option}).validationError());
}

class HotkeyManagerTest : public ::testing::Test {
protected:
    test::ManualExecutor executor;
    test::FakeHotKeyService service;
    HotkeyManager manager{service, executor};
};

TEST_F(HotkeyManagerTest, RegistersWithTheCarbonModifiersAndItsOwnIdentity) {
    EXPECT_EQ(manager.registerHotkey(Hotkey::defaultShortcut()), ShortcutStatus::registered());
    EXPECT_EQ(service.calls, (std::vector<std::string>{"install", "register 49 2048"}));
    EXPECT_EQ(service.lastId, (HotKeyId{0x6B73746C, 1}));

    // Again: the old registration goes first, the handler stays.
    EXPECT_EQ(manager.registerHotkey(Hotkey::defaultShortcut()), ShortcutStatus::registered());
    EXPECT_EQ(service.calls, (std::vector<std::string>{"install", "register 49 2048", "unregister",
                                                       "register 49 2048"}));
    EXPECT_EQ(service.activeRegistrations, 1);
}

TEST_F(HotkeyManagerTest, ARefusedShortcutLeavesNoShortcutActive) {
    ASSERT_EQ(manager.registerHotkey(Hotkey::defaultShortcut()), ShortcutStatus::registered());
    EXPECT_EQ(manager.registerHotkey(Hotkey{12, command}),
              ShortcutStatus::invalid("⌘Q is reserved."));
    EXPECT_EQ(service.activeRegistrations, 0);
    EXPECT_FALSE(manager.isRegistered());
}

TEST_F(HotkeyManagerTest, SystemRefusalsAreConflictsAndOnlyTheyAreLogged) {
    test::LogCapture log;
    service.registerStatus = -9878;
    EXPECT_EQ(manager.registerHotkey(Hotkey{35, command | shift}),
              ShortcutStatus::conflict("⇧⌘P is already in use. Choose another shortcut."));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"Shortcut registration failed with status -9878"}));
    EXPECT_EQ(log.records()[0].category, "Hotkey");
    EXPECT_EQ(log.records()[0].level, LogLevel::error);

    log.clear();
    test::FakeHotKeyService failingInstall;
    failingInstall.installStatus = -50;
    HotkeyManager other(failingInstall, executor);
    EXPECT_EQ(other.registerHotkey(Hotkey::defaultShortcut()),
              ShortcutStatus::conflict("Kestrelle could not install its shortcut handler."));
    EXPECT_TRUE(log.messages().empty());
    // Rules come before the handler: a refused shortcut installs nothing.
    test::FakeHotKeyService untouched;
    HotkeyManager third(untouched, executor);
    third.registerHotkey(Hotkey{0, 0});
    EXPECT_TRUE(untouched.calls.empty());
}

TEST_F(HotkeyManagerTest, PressesReachOnFireOnTheMainExecutorOnlyWithOurIdentity) {
    int fired = 0;
    manager.setOnFire([&] { ++fired; });
    manager.registerHotkey(Hotkey::defaultShortcut());

    service.press(HotkeyManager::hotKeyId);
    EXPECT_EQ(fired, 0) << "never inside the platform's callback";
    executor.runUntilIdle();
    EXPECT_EQ(fired, 1);

    service.press(HotKeyId{0x6B73746C, 2});
    service.press(HotKeyId{0x41424344, 1});
    executor.runUntilIdle();
    EXPECT_EQ(fired, 1);
}

TEST_F(HotkeyManagerTest, UnregisterReleasesTheShortcutThenTheHandler) {
    int fired = 0;
    {
        HotkeyManager scoped(service, executor);
        scoped.setOnFire([&] { ++fired; });
        scoped.registerHotkey(Hotkey::defaultShortcut());
        service.press(HotkeyManager::hotKeyId); // queued, then the manager goes away
        scoped.unregister();
        EXPECT_EQ(service.calls, (std::vector<std::string>{"install", "register 49 2048",
                                                           "unregister", "remove"}));
        scoped.registerHotkey(Hotkey::defaultShortcut());
        EXPECT_EQ(service.calls.at(4), "install");
    }
    EXPECT_EQ(service.calls.back(), "remove");
    executor.runUntilIdle();
    EXPECT_EQ(fired, 0);
}

} // namespace
} // namespace kestrelle
