#pragma once

#include "Runtime/Uuid.h"

#include <string>

namespace kestrelle {

// Whether an entry's Keychain item exists, as far as a check that never prompts can tell.
enum class EntrySecretState { available, missing, unknown };

// One row of the Settings list.
struct SettingsEntry {
    Uuid id;
    std::string label;
    EntrySecretState secretState;

    friend bool operator==(const SettingsEntry&, const SettingsEntry&) = default;
};

} // namespace kestrelle
