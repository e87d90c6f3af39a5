#include "Preferences/HotkeyRecorderModel.h"

#include "Support/InMemoryKeyValueStore.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace kestrelle {
namespace {

using Line = HotkeyRecorderModel::Line;
using Tone = HotkeyRecorderModel::LineTone;

constexpr std::uint64_t capsLock = 0x10000;
constexpr std::uint64_t shift = modifier::shift, control = modifier::control,
                        option = modifier::option, command = modifier::command;

struct Recorder {
    test::InMemoryKeyValueStore defaults;
    Settings settings{defaults};
    HotkeyRecorderModel model{settings};
};

TEST(HotkeyRecorderModelTest, RefusedKeysKeepRecordingAndStoreNothing) {
    struct Case {
        std::uint32_t keyCode;
        std::uint64_t flags;
        const char* message;
    };
    const char* typing = "Add ⌘, ⌥, or ⌃ so the shortcut does not replace normal typing.";
    for (const auto& [keyCode, flags, message] : std::vector<Case>{
             {0, 0, typing},                // A
             {0, shift | capsLock, typing}, // ⇧A
             {18, 0, typing},               // 1
             {12, command, "⌘Q is reserved."},
             {13, command | capsLock, "⌘W is reserved."},
             {49, command, "⌘Space is reserved."},
         }) {
        Recorder r;
        r.model.beginRecording();
        r.model.keyDown(keyCode, flags);
        EXPECT_TRUE(r.model.isRecording()) << message;
        EXPECT_EQ(r.model.line(), (Line{message, Tone::error}));
        EXPECT_EQ(r.model.buttonTitle(), "Type shortcut…");
        EXPECT_TRUE(r.defaults.writes.empty()) << message;
    }
}

TEST(HotkeyRecorderModelTest, AnAcceptedKeyIsStoredWithOnlyTheFourModifiersAndEndsRecording) {
    const std::vector<std::pair<Hotkey, std::string>> cases{
        {{12, command | shift}, "⇧⌘Q"},
        {{49, 0}, "␣"},
        {{96, 0}, "•"}, // F5
        {{53, shift}, "⇧⎋"},
        {{0, control | option}, "⌃⌥A"},
    };
    for (const auto& [hotkey, title] : cases) {
        Recorder r;
        r.model.beginRecording();
        r.model.keyDown(0, 0); // refused first: the error goes once a key is accepted
        r.model.keyDown(hotkey.keyCode, hotkey.modifiers | capsLock);
        EXPECT_FALSE(r.model.isRecording()) << title;
        EXPECT_EQ(r.settings.hotkey(), hotkey);
        EXPECT_EQ(r.model.buttonTitle(), title);
        EXPECT_EQ(r.model.line(), std::nullopt);
    }
}

TEST(HotkeyRecorderModelTest, EscapeAloneOrLosingFocusEndsRecordingWithoutChange) {
    Recorder r;
    EXPECT_EQ(r.model.line(), std::nullopt);
    r.model.beginRecording();
    EXPECT_EQ(r.model.line(), (Line{"Press a key combination. Esc cancels.", Tone::hint}));
    r.model.keyDown(53, capsLock);
    EXPECT_FALSE(r.model.isRecording());
    EXPECT_EQ(r.model.buttonTitle(), "⌥␣");

    r.model.beginRecording();
    r.model.keyDown(12, command);
    r.model.endRecording();
    EXPECT_FALSE(r.model.isRecording());
    // The refusal stays until a key is accepted.
    EXPECT_EQ(r.model.line(), (Line{"⌘Q is reserved.", Tone::error}));
    r.model.keyDown(0, command); // nothing is captured outside recording
    EXPECT_TRUE(r.defaults.writes.empty());
}

TEST(HotkeyRecorderModelTest, ResetStoresOptionSpaceAndIsDisabledWhileItIsTheShortcut) {
    Recorder r;
    std::vector<std::string> shown;
    auto subscription = r.model.subscribe([&] {
        shown.push_back(r.model.buttonTitle() + (r.model.isResetEnabled() ? " reset" : ""));
    });
    r.settings.setHotkey(Hotkey{35, command | shift});
    r.model.reset();
    EXPECT_EQ(r.settings.hotkey(), (Hotkey{49, option}));
    EXPECT_EQ(shown, (std::vector<std::string>{"⌥␣", "⇧⌘P reset", "⌥␣"}));
}

} // namespace
} // namespace kestrelle
