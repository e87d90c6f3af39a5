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
using namespace modifier;
constexpr std::uint64_t capsLock = 0x10000;

struct Recorder {
    test::InMemoryKeyValueStore defaults;
    Settings settings{defaults};
    HotkeyRecorderModel model{settings};
};

TEST(HotkeyRecorderModelTest, StoresOnlyWhatRegistrationWouldAcceptWithTheFourModifiers) {
    struct Case {
        Hotkey hotkey;
        bool refused;
    };
    for (const auto& [hotkey, refused] : {
             Case{{0, 0}, true},                 // A
             Case{{18, shift}, true},            // ⇧1
             Case{{12, command}, true},          // ⌘Q
             Case{{49, command}, true},          // ⌘Space
             Case{{12, command | shift}, false}, // ⇧⌘Q
             Case{{49, 0}, false},               // Space
             Case{{96, 0}, false},               // F5
             Case{{53, shift}, false},           // ⇧⎋
             Case{{0, control | option}, false}, // ⌃⌥A
         }) {
        SCOPED_TRACE(hotkey.displayString());
        Recorder r;
        r.model.beginRecording();
        r.model.keyDown(0, 0); // refused first: the error goes once a key is accepted
        r.model.keyDown(hotkey.keyCode, hotkey.modifiers | capsLock);
        EXPECT_EQ(r.model.isRecording(), refused);
        if (refused) {
            EXPECT_EQ(r.model.line(), (Line{*hotkey.validationError(), Tone::error}));
            EXPECT_EQ(r.model.buttonTitle(), HotkeyRecorderModel::recordingTitle);
            EXPECT_TRUE(r.defaults.writes.empty());
        } else {
            EXPECT_EQ(r.settings.hotkey(), hotkey);
            EXPECT_EQ(r.model.buttonTitle(), hotkey.displayString());
            EXPECT_EQ(r.model.line(), std::nullopt);
        }
    }
}

TEST(HotkeyRecorderModelTest, EscapeAloneOrLosingFocusEndsRecordingWithoutChange) {
    Recorder r;
    EXPECT_EQ(r.model.line(), std::nullopt);
    r.model.beginRecording();
    EXPECT_EQ(r.model.line(), (Line{std::string(HotkeyRecorderModel::hintText), Tone::hint}));
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
    EXPECT_EQ(r.settings.hotkey(), Hotkey::defaultShortcut());
    EXPECT_EQ(shown, (std::vector<std::string>{"⌥␣", "⇧⌘P reset", "⌥␣"}));
}

} // namespace
} // namespace kestrelle
