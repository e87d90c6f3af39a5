#pragma once

#include "Runtime/ModifierFlags.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kestrelle {

// Carbon's modifier bits, as the hot-key service expects them.
namespace carbonModifier {
inline constexpr std::uint32_t command = 0x100;
inline constexpr std::uint32_t shift = 0x200;
inline constexpr std::uint32_t option = 0x800;
inline constexpr std::uint32_t control = 0x1000;
} // namespace carbonModifier

namespace keyCode {
inline constexpr std::uint32_t space = 49;
inline constexpr std::uint32_t escape = 53;
} // namespace keyCode

// A virtual key code (ANSI US numbering) with the modifier keys held with it.
struct Hotkey {
    std::uint32_t keyCode = keyCode::space;
    std::uint64_t modifiers = modifier::option;

    // Option-Space.
    static constexpr Hotkey defaultShortcut() { return Hotkey{}; }

    // Modifier symbols in the order ⌃⌥⇧⌘, then the key's glyph, e.g. "⌃⌥␣" or "⇧⌘P".
    std::string displayString() const;
    std::uint32_t carbonModifiers() const;
    // Why the shortcut is refused before it reaches the system, if it is.
    std::optional<std::string> validationError() const;

    friend bool operator==(const Hotkey&, const Hotkey&) = default;
};

// The printed label of a letter or digit key on the ANSI US layout.
std::optional<std::string> usKeyLabel(std::uint32_t keyCode);
// A special key's symbol, else the key's label, else "•".
std::string glyph(std::uint32_t keyCode);

} // namespace kestrelle
