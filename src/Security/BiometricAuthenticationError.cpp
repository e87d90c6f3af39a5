#include "Security/BiometricAuthenticationError.h"

namespace kestrelle {

namespace {

// The Mac's texts serve its own kinds, and a refusal macOS named no kind for.
const char* unavailableDescription(BiometricAvailability availability) {
    const auto kind = availability.kind();
    const bool desktop = kind && isDesktopApproval(*kind);
    switch (availability.state()) {
    case BiometricAvailability::State::notEnrolled:
        return desktop ? "Enroll a fingerprint before using passwords."
                       : "Set up Touch ID or Face ID in System Settings before using passwords.";
    case BiometricAvailability::State::lockedOut:
        return desktop ? "Approval is locked for now. Try again later."
                       : "Biometrics are locked. Restore biometric access through macOS, then try "
                         "again.";
    case BiometricAvailability::State::unavailable:
    case BiometricAvailability::State::unsupported:
        if (kind == BiometricKind::password) {
            return "Your password cannot be asked for: no polkit authentication agent is running.";
        }
        return desktop ? "The fingerprint reader is not available right now."
                       : "This Mac does not currently provide supported biometric authentication.";
    case BiometricAvailability::State::available:
        break;
    }
    return "Biometric authentication is unavailable.";
}

} // namespace

BiometricAuthenticationError::BiometricAuthenticationError(
    Kind kind, std::string description, std::optional<BiometricAvailability> availability)
    : KestrelleError(std::move(description)), kind_(kind), availability_(availability) {}

BiometricAuthenticationError
BiometricAuthenticationError::unavailable(BiometricAvailability availability) {
    return {Kind::unavailable, unavailableDescription(availability), availability};
}

BiometricAuthenticationError BiometricAuthenticationError::cancelled() {
    return {Kind::cancelled, "Biometric authentication was cancelled."};
}

BiometricAuthenticationError BiometricAuthenticationError::failed() {
    return {Kind::failed, "Biometric authentication did not succeed."};
}

BiometricAuthenticationError BiometricAuthenticationError::invalidSession() {
    return {Kind::invalidSession, "This authorization is no longer valid. Start again."};
}

BiometricAuthenticationError BiometricAuthenticationError::expired() {
    return {Kind::expired, "This authorization expired. Start again."};
}

BiometricAuthenticationError
BiometricAuthenticationError::fromEvaluationFailure(std::optional<BiometricErrorCode> code,
                                                    std::optional<BiometricKind> kind) {
    switch (code.value_or(BiometricErrorCode::authenticationFailed)) {
    case BiometricErrorCode::userCancel:
    case BiometricErrorCode::systemCancel:
    case BiometricErrorCode::appCancel:
        return cancelled();
    case BiometricErrorCode::notAvailable:
        return unavailable(BiometricAvailability::unavailable(kind));
    case BiometricErrorCode::notEnrolled:
        return unavailable(BiometricAvailability::notEnrolled(kind));
    case BiometricErrorCode::lockedOut:
        return unavailable(BiometricAvailability::lockedOut(kind));
    case BiometricErrorCode::authenticationFailed:
        break;
    }
    return failed();
}

} // namespace kestrelle
