#include "Shortcut/Hotkey.h"

#include "Runtime/MacKey.h"
#include "Runtime/X11Key.h"

#include <array>
#include <span>

namespace kestrelle {

namespace {

using Keyboard = Hotkey::Keyboard;
using namespace modifier;

struct Reserved {
    Hotkey hotkey;
    std::string_view shown;
};
// macOS keeps ⌘Q and ⌘W for the frontmost app and ⌘Space for Spotlight. On X11, Alt+Tab and
// Alt+F4 are the window managers' switch and close, Ctrl+Alt+Delete the desktops' log-out or
// task manager, and Ctrl+Alt+Backspace the X server's own kill switch.
constexpr std::array macReserved{Reserved{{Key::q, command}, "⌘Q"},
                                 Reserved{{Key::w, command}, "⌘W"},
                                 Reserved{{Key::space, command}, "⌘Space"}};
constexpr std::array x11Reserved{
    Reserved{{Key::tab, option}, "Alt+Tab"}, Reserved{{Key::f4, option}, "Alt+F4"},
    Reserved{{Key::deleteForward, control | option}, "Ctrl+Alt+Delete"},
    Reserved{{Key::backspace, control | option}, "Ctrl+Alt+Backspace"}};

} // namespace

Hotkey Hotkey::defaultShortcut(Keyboard keyboard) {
    return keyboard == Keyboard::mac ? Hotkey{Key::space, option}
                                     : Hotkey{Key::space, control | option};
}

std::string Hotkey::displayString(Keyboard keyboard) const {
    const auto* named = std::get_if<Key>(&key);
    std::string text;
    if (keyboard == Keyboard::mac) {
        for (const auto& row : macModifiers) {
            text += (modifiers & row.flag) ? row.name : "";
        }
        return text.append(named ? macGlyph(*named) : "•");
    }
    for (const auto& row : x11Modifiers) {
        if (modifiers & row.flag) {
            text.append(row.name).append("+");
        }
    }
    return text.append(named ? x11KeyName(*named) : "•");
}

std::optional<std::string> Hotkey::validationError(Keyboard keyboard) const {
    const bool mac = keyboard == Keyboard::mac;
    const auto* named = std::get_if<Key>(&key);
    // Shift alone does not count: Shift-A is still just typing.
    if (named && isTypingKey(*named) && !(modifiers & (control | option | command))) {
        return mac ? "Add ⌘, ⌥, or ⌃ so the shortcut does not replace normal typing."
                   : "Add Ctrl, Alt, or Super so the shortcut does not replace normal typing.";
    }
    const Hotkey held{key, modifiers & deviceIndependentMask};
    for (const auto& [hotkey, shown] :
         mac ? std::span<const Reserved>(macReserved) : std::span<const Reserved>(x11Reserved)) {
        if (held == hotkey) {
            return std::string(shown) + " is reserved.";
        }
    }
    return std::nullopt;
}

std::uint32_t platformKeyCode(Key key, Keyboard keyboard) {
    return keyboard == Keyboard::mac ? macKeyCode(key) : x11Keysym(key);
}

std::uint32_t platformKeyCode(const HotkeyKey& key, Keyboard keyboard) {
    if (const auto* unnamed = std::get_if<UnnamedKey>(&key)) {
        return unnamed->code;
    }
    return platformKeyCode(std::get<Key>(key), keyboard);
}

std::optional<Key> keyFromPlatformCode(std::uint32_t code, Keyboard keyboard) {
    return keyboard == Keyboard::mac ? keyFromMacKeyCode(code) : keyFromX11Keysym(code);
}

HotkeyKey hotkeyKey(std::uint32_t code, Keyboard keyboard) {
    if (const auto key = keyFromPlatformCode(code, keyboard)) {
        return *key;
    }
    return UnnamedKey{code};
}

} // namespace kestrelle
