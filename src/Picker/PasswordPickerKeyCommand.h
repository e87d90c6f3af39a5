#pragma once

#include "Runtime/Key.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace kestrelle {

// What a key press asks of the picker.
struct PasswordPickerKeyCommand {
    // A digit key, 0 to 9.
    struct Shortcut {
        int number = 0;
        bool forcesCopy = false;
        friend bool operator==(const Shortcut&, const Shortcut&) = default;
    };
    // Return or keypad Enter.
    struct SelectHighlighted {
        bool forcesCopy = false;
        friend bool operator==(const SelectHighlighted&, const SelectHighlighted&) = default;
    };
    // +1 for Down, -1 for Up.
    struct Move {
        int delta = 0;
        friend bool operator==(const Move&, const Move&) = default;
    };
    // Escape.
    struct Dismiss {
        friend bool operator==(const Dismiss&, const Dismiss&) = default;
    };

    std::variant<Shortcut, SelectHighlighted, Move, Dismiss> kind;

    // Shift, Control or Option make any key mean nothing; Command alone turns a digit or Return
    // into a copy. `characters` are the key's characters with no modifier applied.
    static std::optional<PasswordPickerKeyCommand>
    resolve(std::optional<Key> key, const std::optional<std::string>& characters,
            std::uint64_t modifierFlags);

    friend bool operator==(const PasswordPickerKeyCommand&,
                           const PasswordPickerKeyCommand&) = default;
};

} // namespace kestrelle
