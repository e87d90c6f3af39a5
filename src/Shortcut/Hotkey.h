#pragma once

#include "Runtime/Key.h"
#include "Runtime/ModifierFlags.h"
#include "Runtime/PlatformTraits.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace kestrelle {

// A key none of the tables names, by the platform's number for it: kept, stored and registered
// as it is, and shown as "•".
struct UnnamedKey {
    std::uint32_t code = 0;
    friend bool operator==(const UnnamedKey&, const UnnamedKey&) = default;
};
using HotkeyKey = std::variant<Key, UnnamedKey>;

// A key with the modifier keys held with it. Modifier bits other than the four of
// ModifierFlags.h are carried and ignored.
struct Hotkey {
    using Keyboard = PlatformTraits::Keyboard;

    HotkeyKey key = Key::space;
    std::uint64_t modifiers = 0;

    // Option-Space on macOS; Ctrl+Alt+Space on X11, where window managers commonly bind
    // Alt+Space to the window menu.
    static Hotkey defaultShortcut(Keyboard keyboard);

    // macOS: symbols in the order ⌃⌥⇧⌘, then the key's glyph ("⌃⌥␣", "⇧⌘P").
    // X11: names joined with "+" in the order Ctrl, Alt, Shift, Super ("Ctrl+Alt+Space").
    std::string displayString(Keyboard keyboard) const;
    // Why the shortcut is refused before it reaches the system, if it is.
    std::optional<std::string> validationError(Keyboard keyboard) const;
    // Whether a key press is this shortcut: the same named key with the same four modifiers.
    bool matches(std::optional<Key> pressed, std::uint64_t modifierFlags) const {
        return pressed && key == HotkeyKey{*pressed} &&
               ((modifierFlags ^ modifiers) & modifier::deviceIndependentMask) == 0;
    }

    friend bool operator==(const Hotkey&, const Hotkey&) = default;
};

// The number the platform gives the key: the macOS virtual key code, or the X11 keysym.
std::uint32_t platformKeyCode(Key key, Hotkey::Keyboard keyboard);
std::uint32_t platformKeyCode(const HotkeyKey& key, Hotkey::Keyboard keyboard);
std::optional<Key> keyFromPlatformCode(std::uint32_t code, Hotkey::Keyboard keyboard);
// The key the platform's number names, or the number itself when no table names it.
HotkeyKey hotkeyKey(std::uint32_t code, Hotkey::Keyboard keyboard);

} // namespace kestrelle
