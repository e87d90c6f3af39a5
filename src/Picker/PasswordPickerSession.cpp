#include "Picker/PasswordPickerSession.h"

namespace kestrelle {

std::optional<Uuid> PasswordPickerSession::consumeShortcut(int number) {
    if (number < 1 || number > 9 || consumed || static_cast<std::size_t>(number) > entries.size()) {
        return std::nullopt;
    }
    consumed = true;
    return entries[static_cast<std::size_t>(number - 1)].id();
}

} // namespace kestrelle
