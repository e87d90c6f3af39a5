#include "Picker/PasswordPickerKeyCommand.h"

#include "Runtime/ModifierFlags.h"

namespace kestrelle {

std::optional<PasswordPickerKeyCommand>
PasswordPickerKeyCommand::resolve(std::optional<Key> key,
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
    const bool isReturn = key == Key::returnKey || key == Key::keypadEnter;
    if (command) {
        if (isReturn) {
            return PasswordPickerKeyCommand{SelectHighlighted{true}};
        }
        return std::nullopt;
    }
    if (isReturn) {
        return PasswordPickerKeyCommand{SelectHighlighted{false}};
    }
    if (key == Key::escape) {
        return PasswordPickerKeyCommand{Dismiss{}};
    }
    if (key == Key::downArrow || key == Key::upArrow) {
        return PasswordPickerKeyCommand{Move{key == Key::downArrow ? +1 : -1}};
    }
    return std::nullopt;
}

} // namespace kestrelle
