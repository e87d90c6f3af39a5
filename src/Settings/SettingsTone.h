#pragma once

#include <string>

namespace kestrelle {

// The colour family of a status line or badge; the view picks the colours.
enum class SettingsTone { positive, caution, critical, neutral };

// A one-line status. `symbol` is a system symbol name.
struct SettingsStatusLabel {
    std::string text;
    std::string symbol;
    SettingsTone tone;

    friend bool operator==(const SettingsStatusLabel&, const SettingsStatusLabel&) = default;
};

// The small capsule at the end of an entry row. An empty text shows the symbol alone.
struct SettingsBadge {
    std::string text;
    std::string symbol;
    SettingsTone tone;

    friend bool operator==(const SettingsBadge&, const SettingsBadge&) = default;
};

// Secondary explanatory text under a control.
struct SettingsCaption {
    std::string text;

    friend bool operator==(const SettingsCaption&, const SettingsCaption&) = default;
};

} // namespace kestrelle
