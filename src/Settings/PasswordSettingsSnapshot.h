#pragma once

#include "Settings/SettingsEntry.h"

#include <vector>

namespace kestrelle {

// The entries in catalog order, as the Settings window shows them.
struct PasswordSettingsSnapshot {
    std::vector<SettingsEntry> entries;

    friend bool operator==(const PasswordSettingsSnapshot&,
                           const PasswordSettingsSnapshot&) = default;
};

} // namespace kestrelle
