#pragma once

#include "Preferences/KeyValueStore.h"
#include "Runtime/Observable.h"
#include "Security/BiometricReuseWindow.h"
#include "Shortcut/Hotkey.h"
#include "Shortcut/ShortcutStatus.h"

#include <functional>

namespace kestrelle {

namespace settingsKey {
inline constexpr std::string_view hotkeyKeyCode = "settings.hotkeyKeyCode";
inline constexpr std::string_view hotkeyModifiers = "settings.hotkeyModifiers";
inline constexpr std::string_view biometricReuseWindowSeconds =
    "settings.biometricReuseWindowSeconds";
} // namespace settingsKey

// The user's preferences, kept between launches, plus the unpersisted outcome of the last
// shortcut registration. Main thread only; observers are called synchronously.
//
// The shortcut is stored as the platform's number for its key (macOS: the virtual key code;
// X11: the keysym, which unlike a key code does not depend on the keyboard) and the modifier
// bits of ModifierFlags.h, under the same two keys on every platform.
class Settings {
public:
    // Loads both preferences; never writes. Stops the process when the stored key code cannot
    // be a key code at all.
    Settings(KeyValueStore& defaults, Hotkey::Keyboard keyboard);
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    Hotkey::Keyboard keyboard() const { return keyboard_; }
    const Hotkey& hotkey() const { return hotkey_.get(); }
    // Stores, notifies, then writes both keys — also when the value is unchanged.
    void setHotkey(const Hotkey& hotkey);

    BiometricReuseWindow biometricReuseWindow() const { return biometricReuseWindow_.get(); }
    void setBiometricReuseWindow(BiometricReuseWindow window);

    const ShortcutStatus& shortcutStatus() const { return shortcutStatus_.get(); }
    void setShortcutStatus(ShortcutStatus status);

    // Each calls `observer` with the current value at once, then with every assigned value.
    [[nodiscard]] Subscription subscribeHotkey(std::function<void(const Hotkey&)> observer);
    [[nodiscard]] Subscription
    subscribeBiometricReuseWindow(std::function<void(const BiometricReuseWindow&)> observer);
    [[nodiscard]] Subscription
    subscribeShortcutStatus(std::function<void(const ShortcutStatus&)> observer);
    // Sent before any of the three changes.
    [[nodiscard]] Subscription subscribeWillChange(std::function<void()> observer);

private:
    KeyValueStore& defaults_;
    Hotkey::Keyboard keyboard_;
    Signal<> willChange_;
    Observable<Hotkey> hotkey_;
    Observable<BiometricReuseWindow> biometricReuseWindow_;
    Observable<ShortcutStatus> shortcutStatus_{ShortcutStatus::registered()};
};

} // namespace kestrelle
