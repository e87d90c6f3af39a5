#include "Security/BiometricAuthenticationError.h"

namespace kestrelle {

namespace {

const char* unavailableDescription(BiometricAvailability::State state) {
    switch (state) {
    case BiometricAvailability::State::notEnrolled:
        return "Set up Touch ID or Face ID in System Settings before using passwords.";
    case BiometricAvailability::State::lockedOut:
        return "Biometrics are locked. Restore biometric access through macOS, then try again.";
    case BiometricAvailability::State::unavailable:
    case BiometricAvailability::State::unsupported:
        return "This Mac does not currently provide supported biometric authentication.";
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
    return {Kind::unavailable, unavailableDescription(availability.state()), availability};
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
BiometricAuthenticationError::fromEvaluationFailure(std::optional<BiometricErrorCode> code) {
    if (!code) {
        return failed();
    }
    switch (*code) {
    // No fallback exists, so choosing it is a cancellation too.
    case BiometricErrorCode::userCancel:
    case BiometricErrorCode::userFallback:
    case BiometricErrorCode::systemCancel:
    case BiometricErrorCode::appCancel:
    case BiometricErrorCode::invalidContext:
        return cancelled();
    case BiometricErrorCode::biometryNotAvailable:
        return unavailable(BiometricAvailability::unavailable());
    case BiometricErrorCode::biometryNotEnrolled:
        return unavailable(BiometricAvailability::notEnrolled());
    case BiometricErrorCode::biometryLockout:
        return unavailable(BiometricAvailability::lockedOut());
    default:
        return failed();
    }
}

} // namespace kestrelle
