#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kestrelle {

// A key-down as the picker sees it, from the panel or from the application's key monitor.
struct PasswordPickerKeyEvent {
    std::uint16_t keyCode = 0;
    // The characters the key produces with no modifier held (UTF-8); none for dead keys.
    std::optional<std::string> characters;
    // ModifierFlags bits; others may be set and are ignored.
    std::uint64_t modifierFlags = 0;
};

} // namespace kestrelle
