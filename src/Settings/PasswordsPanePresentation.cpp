#include "Settings/PasswordsPanePresentation.h"

#include "Security/BiometricAuthenticationError.h"

namespace kestrelle {

namespace {

constexpr auto failedSymbol = "exclamationmark.triangle.fill";

// Names the kind in force: "touchid" and "faceid" are the Mac's sensors, and the reader's symbol
// too. The desktop's refusals read as their error does; the rest pick a symbol for their problem.
// Off the Mac no text names it, whatever the kind.
SettingsStatusLabel biometricsLine(BiometricAvailability availability, bool mac) {
    const auto kind = availability.kind();
    const auto text = [&](const char* macText, const char* desktopText) {
        if (kind && isDesktopApproval(*kind)) {
            return BiometricAuthenticationError::unavailable(availability).description();
        }
        return std::string(mac ? macText : desktopText);
    };
    switch (availability.state()) {
    case BiometricAvailability::State::available:
        switch (*kind) {
        case BiometricKind::fingerprint:
            return {"Fingerprint ready", "touchid", SettingsTone::positive};
        case BiometricKind::password:
            return {"Account password ready", "person.badge.key.fill", SettingsTone::positive};
        case BiometricKind::faceID:
        case BiometricKind::touchID:
            break;
        }
        if (!mac) {
            return {"Approval ready", "checkmark.circle.fill", SettingsTone::positive};
        }
        return *kind == BiometricKind::faceID
                   ? SettingsStatusLabel{"Face ID ready", "faceid", SettingsTone::positive}
                   : SettingsStatusLabel{"Touch ID ready", "touchid", SettingsTone::positive};
    case BiometricAvailability::State::notEnrolled:
        // Enrolling fixes it, in System Settings.
        return {text("Biometrics are not enrolled.", "Biometrics are not enrolled."),
                "exclamationmark.circle.fill", SettingsTone::caution};
    case BiometricAvailability::State::lockedOut:
        return {text("Biometrics are locked. Unlock them in macOS before configuring passwords.",
                     "Biometrics are locked. Unlock them before configuring passwords."),
                "lock.fill", SettingsTone::critical};
    case BiometricAvailability::State::unavailable:
    case BiometricAvailability::State::unsupported:
        break;
    }
    return {text("Supported biometric authentication is unavailable on this Mac.",
                 "Approval is unavailable on this computer."),
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
                                bool storeBindsBiometrics, PlatformTraits::SystemNames names) {
    const bool mac = names == PlatformTraits::SystemNames::macOS;
    // Linux desktops have no settings page to link to for this.
    PasswordsPanePresentation pane{
        .caption = std::string("Labels may repeat, and this order is the "
                               "picker's order. Every saved change needs a "
                               "new ") +
                   (mac ? "biometric approval" : "approval") +
                   ", and stored passwords are never shown in Settings.",
        .biometricsSectionTitle = mac ? "Biometrics" : "Approval",
        .biometrics = biometricsLine(availability, mac),
        .protectionCaption = std::nullopt,
        .showsBiometricSettingsButton = mac && !availability.isAvailable(),
        .rows = {},
        .error = std::nullopt};
    if (!storeBindsBiometrics) {
        pane.protectionCaption = SettingsCaption{"Saved passwords are kept in your login keyring, "
                                                 "and Kestrelle asks for your approval before "
                                                 "each use."};
    }
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
