#pragma once

#include "Runtime/Key.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kestrelle {

// A key-down as the picker sees it, from the panel or from the application's key monitor.
struct PasswordPickerKeyEvent {
    // None for a key the core does not name (Runtime/Key.h).
    std::optional<Key> key;
    // The characters the key produces with no modifier held (UTF-8); none for dead keys.
    std::optional<std::string> characters;
    // ModifierFlags bits; others may be set and are ignored.
    std::uint64_t modifierFlags = 0;
};

} // namespace kestrelle
