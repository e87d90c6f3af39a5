#pragma once

#include <array>
#include <string_view>

namespace kestrelle {

// The panes of the Settings window, in the selector's order.
enum class SettingsPane { passwords, general };

inline constexpr auto allSettingsPanes = std::array{SettingsPane::passwords, SettingsPane::general};

constexpr std::string_view title(SettingsPane pane) {
    return pane == SettingsPane::passwords ? "Passwords" : "General";
}

constexpr std::string_view symbol(SettingsPane pane) {
    return pane == SettingsPane::passwords ? "key.fill" : "gearshape";
}

// Without Accessibility access nothing can be typed, and the General pane is where it is
// granted: the app opens Settings for exactly that when the shortcut is pressed without it.
constexpr SettingsPane firstSettingsPane(bool accessibilityGranted) {
    return accessibilityGranted ? SettingsPane::passwords : SettingsPane::general;
}

} // namespace kestrelle
