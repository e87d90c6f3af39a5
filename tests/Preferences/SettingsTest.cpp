#include "Preferences/Settings.h"

#include "Preferences/HotkeyRecorderModel.h"
#include "Support/InMemoryKeyValueStore.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kestrelle {
namespace {

using test::InMemoryKeyValueStore;
using Write = std::pair<std::string, StoredValue>;
using Keyboard = PlatformTraits::Keyboard;
const Hotkey optionSpace = Hotkey::defaultShortcut(Keyboard::mac);

Hotkey loadedHotkey(StoredValue keyCode, StoredValue modifiers) {
    InMemoryKeyValueStore defaults;
    defaults.values[std::string(settingsKey::hotkeyKeyCode)] = std::move(keyCode);
    defaults.values[std::string(settingsKey::hotkeyModifiers)] = std::move(modifiers);
    return Settings(defaults, Keyboard::mac).hotkey();
}

TEST(SettingsTest, StoredNumbersLoadOnlyAsExactWholeNumbersAndTheShortcutOnlyAsAPair) {
    const std::pair<StoredValue, BiometricReuseWindow> cases[] = {
        {std::monostate{}, BiometricReuseWindow::thirtySeconds},
        {std::int64_t{900}, BiometricReuseWindow::fifteenMinutes},
        {std::uint64_t{1800}, BiometricReuseWindow::thirtyMinutes},
        {300.0, BiometricReuseWindow::fiveMinutes},
        {std::int64_t{45}, BiometricReuseWindow::thirtySeconds},
        {std::int64_t{-60}, BiometricReuseWindow::thirtySeconds},
        {60.5, BiometricReuseWindow::thirtySeconds},
        {std::string("900"), BiometricReuseWindow::thirtySeconds},
        {true, BiometricReuseWindow::thirtySeconds},
        {OtherStoredValue{}, BiometricReuseWindow::thirtySeconds},
    };
    for (const auto& [stored, expected] : cases) {
        SCOPED_TRACE(stored.index());
        InMemoryKeyValueStore defaults;
        defaults.values[std::string(settingsKey::biometricReuseWindowSeconds)] = stored;
        Settings settings(defaults, Keyboard::mac);
        EXPECT_EQ(settings.biometricReuseWindow(), expected);
        EXPECT_TRUE(defaults.writes.empty());
    }

    EXPECT_EQ(loadedHotkey(std::int64_t{35}, std::uint64_t{0x180000}), (Hotkey{Key::p, 0x180000}));
    // Caps Lock and bits beyond 63 are dropped, the rest kept.
    EXPECT_EQ(loadedHotkey(std::int64_t{0}, std::uint64_t{0x1A0000 | 0x10000 | 1ULL << 63}),
              (Hotkey{Key::a, 0x1A0000}));
    // No modifiers survive: kept as it is, registration will refuse it.
    EXPECT_EQ(loadedHotkey(35.0, std::int64_t{0}), (Hotkey{Key::p, 0}));
    // In range, but no table names that number: kept as it is.
    EXPECT_EQ(loadedHotkey(std::int64_t{4294967295}, std::int64_t{0x100000}),
              (Hotkey{UnnamedKey{4294967295}, 0x100000}));
    // Which stored kinds count as whole numbers is shown above, for both preferences.
    for (const auto& [keyCode, modifiers] : std::vector<std::pair<StoredValue, StoredValue>>{
             {std::int64_t{35}, std::monostate{}},
             {std::int64_t{35}, std::int64_t{-1}},
             {std::int64_t{35}, std::string("cmd")},
             {std::string("35"), std::uint64_t{0x100000}},
             {std::monostate{}, std::uint64_t{0x100000}}}) {
        SCOPED_TRACE(testing::Message() << keyCode.index() << " " << modifiers.index());
        EXPECT_EQ(loadedHotkey(keyCode, modifiers), optionSpace);
    }
}

TEST(SettingsDeathTest, AnOutOfRangeStoredKeyCodeStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(loadedHotkey(std::int64_t{4294967296}, std::uint64_t{0x80000}), "");
    EXPECT_DEATH(loadedHotkey(std::int64_t{-1}, std::uint64_t{0x80000}), "");
}

TEST(SettingsTest, EveryAssignmentNotifiesThenWritesEvenWhenEqual) {
    InMemoryKeyValueStore defaults;
    Settings settings(defaults, Keyboard::mac);
    std::vector<std::string> events;
    auto willChange = settings.subscribeWillChange([&] { events.push_back("will"); });
    auto hotkeys = settings.subscribeHotkey([&](const Hotkey& hotkey) {
        events.push_back(hotkey.displayString(Keyboard::mac) + " @" +
                         std::to_string(defaults.writes.size()));
    });
    auto windows = settings.subscribeBiometricReuseWindow([&](const BiometricReuseWindow& window) {
        events.push_back(std::to_string(rawValue(window)));
    });
    auto statuses = settings.subscribeShortcutStatus(
        [&](const ShortcutStatus& status) { events.push_back(status.message()); });

    settings.setHotkey(optionSpace);
    settings.setHotkey(Hotkey{Key::p, 0x190000});
    settings.setBiometricReuseWindow(BiometricReuseWindow::fiveMinutes);
    settings.setShortcutStatus(ShortcutStatus::conflict("In use."));
    EXPECT_EQ(events, (std::vector<std::string>{"⌥␣ @0", "30", "", "will", "⌥␣ @0", "will",
                                                "⌥⌘P @2", "will", "300", "will", "In use."}));
    // Modifiers are written exactly as held, not masked; the status is never stored.
    EXPECT_EQ(defaults.writes,
              (std::vector<Write>{{"settings.hotkeyKeyCode", std::int64_t{49}},
                                  {"settings.hotkeyModifiers", std::uint64_t{0x80000}},
                                  {"settings.hotkeyKeyCode", std::int64_t{35}},
                                  {"settings.hotkeyModifiers", std::uint64_t{0x190000}},
                                  {"settings.biometricReuseWindowSeconds", std::int64_t{300}}}));
}

using Line = HotkeyRecorderModel::Line;
using Tone = HotkeyRecorderModel::LineTone;
using namespace modifier;
constexpr std::uint64_t capsLock = 0x10000;
std::uint32_t code(Key key) {
    return platformKeyCode(key, Keyboard::mac);
}

struct Recorder {
    explicit Recorder(Keyboard keyboard = Keyboard::mac) : settings(defaults, keyboard) {}
    test::InMemoryKeyValueStore defaults;
    Settings settings;
    HotkeyRecorderModel model{settings};
};

TEST(HotkeyRecorderModelTest, StoresOnlyWhatRegistrationWouldAcceptWithTheFourModifiers) {
    // Escape with a modifier is a shortcut like any other.
    for (Hotkey accepted : {Hotkey{Key::q, command | shift}, Hotkey{Key::escape, shift},
                            Hotkey{Key::a, control | option}}) {
        SCOPED_TRACE(accepted.displayString(Keyboard::mac));
        Recorder r;
        r.model.beginRecording();
        r.model.keyDown(code(Key::q), command);
        EXPECT_EQ(r.model.line(),
                  (Line{*Hotkey{Key::q, command}.validationError(Keyboard::mac), Tone::error}));
        EXPECT_EQ(r.model.buttonTitle(), HotkeyRecorderModel::recordingTitle);
        EXPECT_TRUE(r.defaults.writes.empty());
        r.model.keyDown(platformKeyCode(accepted.key, Keyboard::mac),
                        accepted.modifiers | capsLock);
        EXPECT_FALSE(r.model.isRecording());
        EXPECT_EQ(r.settings.hotkey(), accepted);
        EXPECT_EQ(r.model.buttonTitle(), accepted.displayString(Keyboard::mac));
        EXPECT_EQ(r.model.line(), std::nullopt) << "the refusal stays until a key is accepted";
    }
}

TEST(HotkeyRecorderModelTest, EscapeAloneOrLosingFocusEndsRecordingAndResetRestoresOptionSpace) {
    Recorder r;
    EXPECT_EQ(r.model.line(), std::nullopt);
    r.model.beginRecording();
    EXPECT_EQ(r.model.line(), (Line{std::string(HotkeyRecorderModel::hintText), Tone::hint}));
    r.model.keyDown(code(Key::escape), capsLock);
    EXPECT_FALSE(r.model.isRecording());

    r.model.beginRecording();
    r.model.keyDown(code(Key::q), command);
    r.model.endRecording();
    EXPECT_FALSE(r.model.isRecording());
    EXPECT_EQ(r.model.line()->tone, Tone::error);
    r.model.keyDown(code(Key::p), command); // nothing is captured outside recording
    EXPECT_TRUE(r.defaults.writes.empty());

    std::vector<std::string> shown;
    auto subscription = r.model.subscribe([&] {
        shown.push_back(r.model.buttonTitle() + (r.model.isResetEnabled() ? " reset" : ""));
    });
    r.settings.setHotkey(Hotkey{Key::p, command | shift});
    r.model.reset();
    EXPECT_EQ(r.settings.hotkey(), optionSpace);
    EXPECT_EQ(shown, (std::vector<std::string>{"⌥␣", "⇧⌘P reset", "⌥␣"}));
}

// Also: the shortcut is kept as its keysym there, and a key no table names as its number.
TEST(HotkeyRecorderModelTest, OnX11ChecksAndShowsInX11TermsAndKeepsKeysNoTableNames) {
    Recorder r(Keyboard::x11);
    EXPECT_EQ(r.model.buttonTitle(), "Ctrl+Alt+Space");
    r.model.beginRecording();
    r.model.keyDown(0x1008FF13, control | option); // a volume key
    EXPECT_EQ(r.model.buttonTitle(), "Ctrl+Alt+•");
    EXPECT_EQ(Settings(r.defaults, Keyboard::x11).hotkey(),
              (Hotkey{UnnamedKey{0x1008FF13}, control | option}));
    r.model.beginRecording();
    r.model.keyDown(platformKeyCode(Key::q, Keyboard::x11), command); // reserved on macOS only
    EXPECT_EQ(r.model.buttonTitle(), "Super+Q");
    EXPECT_EQ(Settings(r.defaults, Keyboard::x11).hotkey(), (Hotkey{Key::q, command}));
    EXPECT_EQ(r.defaults.values["settings.hotkeyKeyCode"], StoredValue{std::int64_t{'q'}});
}

} // namespace
} // namespace kestrelle
