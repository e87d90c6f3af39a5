#include "Settings/PasswordsPanePresentation.h"

namespace kestrelle {

namespace {

constexpr auto failedSymbol = "exclamationmark.triangle.fill";

// "touchid" and "faceid" name the ready sensors; the rest pick a symbol for their problem.
// Linux names no sensor: the approval there need not be biometric.
SettingsStatusLabel biometricsLine(BiometricAvailability availability, bool mac) {
    switch (availability.state()) {
    case BiometricAvailability::State::available:
        if (!mac) {
            return {"Approval ready", "checkmark.circle.fill", SettingsTone::positive};
        }
        return availability.kind() == BiometricKind::faceID
                   ? SettingsStatusLabel{"Face ID ready", "faceid", SettingsTone::positive}
                   : SettingsStatusLabel{"Touch ID ready", "touchid", SettingsTone::positive};
    case BiometricAvailability::State::notEnrolled:
        // Enrolling fixes it, in System Settings.
        return {"Biometrics are not enrolled.", "exclamationmark.circle.fill",
                SettingsTone::caution};
    case BiometricAvailability::State::lockedOut:
        return {mac ? "Biometrics are locked. Unlock them in macOS before configuring passwords."
                    : "Biometrics are locked. Unlock them before configuring passwords.",
                "lock.fill", SettingsTone::critical};
    case BiometricAvailability::State::unavailable:
    case BiometricAvailability::State::unsupported:
        break;
    }
    return {mac ? "Supported biometric authentication is unavailable on this Mac."
                : "Supported biometric authentication is unavailable on this computer.",
            "xmark.circle.fill", SettingsTone::critical};
}

PasswordsPanePresentation::Row row(const SettingsEntry& entry, bool isFirst, bool isLast,
                                   bool isBusy) {
    PasswordsPanePresentation::Row row{
        entry, "key.fill", {}, !isFirst && !isBusy, !isLast && !isBusy, !isBusy, !isBusy};
    switch (entry.secretState) {
    case EntrySecretState::available:
        row.badge = {"", "checkmark.circle", SettingsTone::positive};
        break;
    case EntrySecretState::missing:
        row.symbol = "key.slash.fill";
        row.badge = {"Password missing", failedSymbol, SettingsTone::critical};
        break;
    case EntrySecretState::unknown:
        // Nothing says the password is gone: the key stays whole.
        row.badge = {"Status unavailable", "questionmark.circle", SettingsTone::neutral};
        break;
    }
    return row;
}

} // namespace

PasswordsPanePresentation
PasswordsPanePresentation::make(const PasswordSettingsSnapshot& snapshot,
                                BiometricAvailability availability,
                                const std::optional<std::string>& errorMessage, bool isBusy,
                                PlatformTraits::SystemNames names) {
    const bool mac = names == PlatformTraits::SystemNames::macOS;
    // Linux desktops have no settings page to link to for this.
    PasswordsPanePresentation pane{mac ? "Biometrics" : "Approval",
                                   biometricsLine(availability, mac),
                                   mac && !availability.isAvailable(),
                                   {},
                                   std::nullopt};
    const auto& entries = snapshot.entries;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        pane.rows.push_back(row(entries[index], index == 0, index + 1 == entries.size(), isBusy));
    }
    if (errorMessage) {
        pane.error = SettingsStatusLabel{*errorMessage, failedSymbol, SettingsTone::critical};
    }
    return pane;
}

} // namespace kestrelle
