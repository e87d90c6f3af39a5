#include "Preferences/Settings.h"

#include "Support/InMemoryKeyValueStore.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kestrelle {
namespace {

using test::InMemoryKeyValueStore;

TEST(SettingsTest, AnEmptyDomainGivesOptionSpaceAndThirtySecondsAndWritesNothing) {
    InMemoryKeyValueStore defaults;
    Settings settings(defaults);
    EXPECT_EQ(settings.hotkey(), (Hotkey{49, 0x80000}));
    EXPECT_EQ(settings.biometricReuseWindow(), BiometricReuseWindow::thirtySeconds);
    EXPECT_EQ(settings.shortcutStatus(), ShortcutStatus::registered());
    EXPECT_TRUE(defaults.writes.empty());
}

TEST(SettingsTest, TheReuseWindowLoadsOnlyFromAnExactNumberOfSeconds) {
    const std::vector<std::pair<StoredValue, BiometricReuseWindow>> cases{
        {std::int64_t{900}, BiometricReuseWindow::fifteenMinutes},
        {std::uint64_t{1800}, BiometricReuseWindow::thirtyMinutes},
        {300.0, BiometricReuseWindow::fiveMinutes},
        {std::int64_t{45}, BiometricReuseWindow::thirtySeconds},
        {std::int64_t{0}, BiometricReuseWindow::thirtySeconds},
        {std::int64_t{-60}, BiometricReuseWindow::thirtySeconds},
        {60.5, BiometricReuseWindow::thirtySeconds},
        {std::string("900"), BiometricReuseWindow::thirtySeconds},
        {true, BiometricReuseWindow::thirtySeconds},
        {OtherStoredValue{}, BiometricReuseWindow::thirtySeconds},
    };
    for (const auto& [stored, expected] : cases) {
        InMemoryKeyValueStore defaults;
        defaults.values[std::string(settingsKey::biometricReuseWindowSeconds)] = stored;
        EXPECT_EQ(Settings(defaults).biometricReuseWindow(), expected) << stored.index();
        EXPECT_TRUE(defaults.writes.empty());
    }
}

Hotkey loadedHotkey(StoredValue keyCode, StoredValue modifiers) {
    InMemoryKeyValueStore defaults;
    defaults.values[std::string(settingsKey::hotkeyKeyCode)] = std::move(keyCode);
    defaults.values[std::string(settingsKey::hotkeyModifiers)] = std::move(modifiers);
    return Settings(defaults).hotkey();
}

TEST(SettingsTest, TheShortcutLoadsOnlyAsAPairAndKeepsTheFourModifierBits) {
    EXPECT_EQ(loadedHotkey(std::int64_t{35}, std::uint64_t{0x180000}), (Hotkey{35, 0x180000}));
    // Caps Lock is dropped, the rest kept.
    EXPECT_EQ(loadedHotkey(std::int64_t{0}, std::uint64_t{0x1A0000 | 0x10000}),
              (Hotkey{0, 0x1A0000}));
    // No modifiers survive: kept as it is, registration will refuse it.
    EXPECT_EQ(loadedHotkey(std::int64_t{0}, std::int64_t{0}), (Hotkey{0, 0}));
    EXPECT_EQ(loadedHotkey(std::int64_t{4294967295}, std::int64_t{0x100000}),
              (Hotkey{4294967295U, 0x100000}));

    const auto fallback = Hotkey::defaultShortcut();
    EXPECT_EQ(loadedHotkey(std::int64_t{35}, std::monostate{}), fallback);
    EXPECT_EQ(loadedHotkey(std::int64_t{35}, std::int64_t{-1}), fallback);
    EXPECT_EQ(loadedHotkey(std::int64_t{35}, std::string("cmd")), fallback);
    EXPECT_EQ(loadedHotkey(std::string("35"), std::uint64_t{0x100000}), fallback);
    EXPECT_EQ(loadedHotkey(std::monostate{}, std::uint64_t{0x100000}), fallback);
    EXPECT_EQ(loadedHotkey(2.5, std::uint64_t{0x100000}), fallback);
}

TEST(SettingsDeathTest, AnOutOfRangeStoredKeyCodeStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(loadedHotkey(std::int64_t{4294967296}, std::uint64_t{0x80000}), "");
    EXPECT_DEATH(loadedHotkey(std::int64_t{-1}, std::uint64_t{0x80000}), "");
    EXPECT_DEATH(loadedHotkey(std::uint64_t{1} << 63, std::uint64_t{0x80000}), "");
}

TEST(SettingsTest, EveryAssignmentNotifiesAndWritesEvenWhenEqual) {
    InMemoryKeyValueStore defaults;
    Settings settings(defaults);
    std::vector<std::string> events;
    auto willChange = settings.subscribeWillChange([&] { events.push_back("will"); });
    auto hotkeys = settings.subscribeHotkey(
        [&](const Hotkey& hotkey) { events.push_back("hotkey " + hotkey.displayString()); });
    EXPECT_EQ(events, (std::vector<std::string>{"hotkey ⌥␣"}));

    settings.setHotkey(Hotkey::defaultShortcut());
    settings.setHotkey(Hotkey::defaultShortcut());
    EXPECT_EQ(events,
              (std::vector<std::string>{"hotkey ⌥␣", "will", "hotkey ⌥␣", "will", "hotkey ⌥␣"}));
    using Write = std::pair<std::string, StoredValue>;
    const std::vector<Write> pair{{"settings.hotkeyKeyCode", std::int64_t{49}},
                                  {"settings.hotkeyModifiers", std::uint64_t{0x80000}}};
    EXPECT_EQ(defaults.writes, (std::vector<Write>{pair[0], pair[1], pair[0], pair[1]}));

    // Modifiers are written exactly as held, not masked.
    defaults.writes.clear();
    settings.setHotkey(Hotkey{35, 0x190000});
    EXPECT_EQ(defaults.writes.at(1), (Write{"settings.hotkeyModifiers", std::uint64_t{0x190000}}));

    defaults.writes.clear();
    std::vector<BiometricReuseWindow> windows;
    auto reuse = settings.subscribeBiometricReuseWindow(
        [&](const BiometricReuseWindow& window) { windows.push_back(window); });
    settings.setBiometricReuseWindow(BiometricReuseWindow::fiveMinutes);
    EXPECT_EQ(windows, (std::vector{BiometricReuseWindow::thirtySeconds,
                                    BiometricReuseWindow::fiveMinutes}));
    EXPECT_EQ(defaults.writes,
              (std::vector<Write>{{"settings.biometricReuseWindowSeconds", std::int64_t{300}}}));

    // A reload sees what was written.
    Settings reloaded(defaults);
    EXPECT_EQ(reloaded.hotkey(), (Hotkey{35, 0x180000}));
    EXPECT_EQ(reloaded.biometricReuseWindow(), BiometricReuseWindow::fiveMinutes);
}

TEST(SettingsTest, TheShortcutStatusIsObservedButNeverStored) {
    InMemoryKeyValueStore defaults;
    Settings settings(defaults);
    std::vector<ShortcutStatus> statuses;
    auto subscription = settings.subscribeShortcutStatus(
        [&](const ShortcutStatus& status) { statuses.push_back(status); });
    settings.setShortcutStatus(
        ShortcutStatus::conflict("⌥␣ is already in use. Choose another shortcut."));
    EXPECT_EQ(statuses.size(), 2U);
    EXPECT_EQ(statuses.back().kind(), ShortcutStatus::Kind::conflict);
    EXPECT_TRUE(defaults.writes.empty());
}

} // namespace
} // namespace kestrelle
