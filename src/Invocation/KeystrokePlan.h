#pragma once

#include "Invocation/KeymapKeyboard.h"
#include "Storage/SecureWipe.h"

#include <optional>
#include <span>
#include <variant>

namespace kestrelle {

// Before the keystrokes that follow, bind a free key code to a character the keymap lacks.
struct KeyBinding {
    KeymapKeyboard::KeyCode keyCode = 0;
    KeymapKeyboard::Keysym keysym = 0;

    friend bool operator==(const KeyBinding&, const KeyBinding&) = default;
};

// Types one code point; a character at the shifted level has the Shift key held around it.
struct Keystroke {
    KeymapKeyboard::KeyCode keyCode = 0;
    std::optional<KeymapKeyboard::KeyCode> shiftKey;

    friend bool operator==(const Keystroke&, const Keystroke&) = default;
};

// The steps derive from the password, so they live in memory that is wiped when freed.
using KeystrokeStep = std::variant<KeyBinding, Keystroke>;
using KeystrokePlan = WipingVector<KeystrokeStep>;

// The keysym that types `codePoint`: Latin-1's printable characters are their own keysyms,
// every other code point has the Unicode keysym range.
constexpr KeymapKeyboard::Keysym keysymFor(char32_t codePoint) {
    const bool latin1 =
        (codePoint >= 0x20 && codePoint <= 0x7E) || (codePoint >= 0xA0 && codePoint <= 0xFF);
    return latin1 ? codePoint : 0x01000000 | codePoint;
}

// One keystroke per code point, in order. A character the keymap lacks gets a free key code
// (one with no symbol at all): bindings come in runs, each made just before the first keystroke
// that needs it and covering as many of the characters still to come as there are free keys,
// and a character typed again reuses its binding. Throws InputInjectionError `noFreeKey` when a
// character needs a free key code and the keymap has none.
KeystrokePlan planKeystrokes(const KeymapKeyboard::Keymap& keymap,
                             std::span<const char32_t> codePoints);

} // namespace kestrelle
