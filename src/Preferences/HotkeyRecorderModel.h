#pragma once

#include "Preferences/Settings.h"
#include "Runtime/Signal.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelle {

// Everything the shortcut recorder control shows, and what its clicks and key presses do. A
// captured shortcut that passes the registration rules is stored in the settings; registering
// it is someone else's job.
//
// The control holds first-responder status exactly while `isRecording()`: it gives it up when
// recording ends here (Escape, an accepted key), and reports any other loss through
// `endRecording()`.
class HotkeyRecorderModel {
public:
    enum class LineTone { error, hint };

    // The one line under the buttons.
    struct Line {
        std::string text;
        LineTone tone;

        friend bool operator==(const Line&, const Line&) = default;
    };

    static constexpr std::string_view recordingTitle = "Type shortcut…";
    static constexpr std::string_view resetTitle = "Reset";
    static constexpr std::string_view accessibilityLabel = "Keyboard shortcut";
    static constexpr std::string_view hintText = "Press a key combination. Esc cancels.";
    static constexpr double minimumButtonWidth = 118;

    explicit HotkeyRecorderModel(Settings& settings);
    HotkeyRecorderModel(const HotkeyRecorderModel&) = delete;
    HotkeyRecorderModel& operator=(const HotkeyRecorderModel&) = delete;

    bool isRecording() const { return recording_; }
    std::string buttonTitle() const;
    bool isResetEnabled() const {
        return settings_.hotkey() != Hotkey::defaultShortcut(settings_.keyboard());
    }
    // The last refusal, kept until a key is accepted; else the hint while recording.
    std::optional<Line> line() const;

    // The recorder button's click.
    void beginRecording();
    // Every key press while recording: the platform's number for the key (the macOS virtual key
    // code, the X11 keysym) and the event's modifier flags as they come (on X11 translated
    // through Runtime/X11Key.h).
    void keyDown(std::uint32_t keyCode, std::uint64_t modifierFlags);
    // The control lost first-responder status; the shortcut stays as it is.
    void endRecording();
    void reset();

    // Calls `observer` at once and after every change of what is shown, including the stored
    // shortcut changing elsewhere.
    [[nodiscard]] Subscription subscribe(std::function<void()> observer);

private:
    void changed() const { changed_.emit(); }

    Settings& settings_;
    bool recording_ = false;
    std::optional<std::string> error_;
    Signal<> changed_;
    Subscription hotkeySubscription_;
};

} // namespace kestrelle
