#pragma once

#include <chrono>
#include <string_view>

namespace kestrelle {

// Where the desktops differ in ways the core decides. The program passes its platform's record
// at start; each component reads the traits that concern it, so tests can combine them freely.
struct PlatformTraits {
    // While an X11 shortcut is held its key grab hides the field's focus from the field's
    // toolkit, so there an invocation starts when the shortcut is released.
    enum class InvocationStart { press, release };
    // The picker either becomes the key window, or grabs the keyboard from a window that never
    // takes focus (X11): there "key status" means "grab held", and the origin field loses its
    // focus while the grab lasts and gets it back after.
    enum class PickerKeys { keyWindow, keyboardGrab };
    // Either Unicode strings posted to the target's process in chunks, or one key per code
    // point through the keymap, binding a spare key code where the keymap lacks a character.
    enum class Typing { unicodeChunks, keyPerCodePoint };
    // Key identities, modifier names, reserved and default shortcuts.
    enum class Keyboard { mac, x11 };
    // Whose names the Settings window uses for the system's own parts: macOS's (Touch ID, the
    // Keychain, System Settings, Login Items), or plain words on a Linux desktop, which has no
    // fixed places of those kinds to name or link to.
    enum class SystemNames { macOS, linuxDesktop };

    InvocationStart invocationStart = InvocationStart::press;
    // How long a capture at release keeps looking for the focused field.
    std::chrono::milliseconds captureRetryPeriod{0};
    PickerKeys pickerKeys = PickerKeys::keyWindow;
    // How long, after the picker gives the keyboard back, typing waits for the field's focus.
    std::chrono::milliseconds refocusPeriod{0};
    Typing typing = Typing::unicodeChunks;
    Keyboard keyboard = Keyboard::mac;
    // Whether the secret store itself binds each item to a biometric approval. Where it does
    // not, the app's own approval gates every use and the store protects the items at rest.
    bool secretStoreBindsBiometrics = true;
    // Whether screen coordinates grow downwards from the top-left corner.
    bool screenYGrowsDown = false;
    // Whether the app updates itself; where the system's packages update it, no menu offers an
    // update check.
    bool updatesItself = true;
    // The folder of the app's own files inside the user's data directory (XDG names are lower
    // case).
    std::string_view dataFolderName = "Kestrelle";
    SystemNames systemNames = SystemNames::macOS;

    static constexpr PlatformTraits macOS() { return {}; }
    static constexpr PlatformTraits x11() {
        return {
            .invocationStart = InvocationStart::release,
            .captureRetryPeriod = std::chrono::milliseconds{300},
            .pickerKeys = PickerKeys::keyboardGrab,
            .refocusPeriod = std::chrono::milliseconds{300},
            .typing = Typing::keyPerCodePoint,
            .keyboard = Keyboard::x11,
            .secretStoreBindsBiometrics = false,
            .screenYGrowsDown = true,
            .updatesItself = false,
            .dataFolderName = "kestrelle",
            .systemNames = SystemNames::linuxDesktop,
        };
    }
};

} // namespace kestrelle
