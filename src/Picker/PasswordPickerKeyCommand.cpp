#include "Picker/PasswordPickerKeyCommand.h"

#include "Runtime/ModifierFlags.h"

namespace kestrelle {

std::optional<PasswordPickerKeyCommand>
PasswordPickerKeyCommand::resolve(std::uint16_t keyCode,
                                  const std::optional<std::string>& characters,
                                  std::uint64_t modifierFlags) {
    if (modifierFlags & (modifier::shift | modifier::control | modifier::option)) {
        return std::nullopt;
    }
    const bool command = modifierFlags & modifier::command;
    if (characters && !characters->empty()) {
        const char first = characters->front();
        if (first >= '0' && first <= '9') {
            return PasswordPickerKeyCommand{Shortcut{first - '0', command}};
        }
    }
    const bool isReturn = keyCode == returnKey || keyCode == keypadEnterKey;
    if (command) {
        if (isReturn) {
            return PasswordPickerKeyCommand{SelectHighlighted{true}};
        }
        return std::nullopt;
    }
    if (isReturn) {
        return PasswordPickerKeyCommand{SelectHighlighted{false}};
    }
    switch (keyCode) {
    case escapeKey:
        return PasswordPickerKeyCommand{Dismiss{}};
    case downArrowKey:
        return PasswordPickerKeyCommand{Move{+1}};
    case upArrowKey:
        return PasswordPickerKeyCommand{Move{-1}};
    default:
        return std::nullopt;
    }
}

} // namespace kestrelle
