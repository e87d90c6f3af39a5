#pragma once

#include <cstdint>

namespace kestrelle {

// The platform's biometric error codes, with LocalAuthentication's values. Codes not named
// here still travel in this type; they count as "any other code".
enum class BiometricErrorCode : std::int64_t {
    authenticationFailed = -1,
    userCancel = -2,
    userFallback = -3,
    systemCancel = -4,
    passcodeNotSet = -5,
    biometryNotAvailable = -6,
    biometryNotEnrolled = -7,
    biometryLockout = -8,
    appCancel = -9,
    invalidContext = -10,
};

} // namespace kestrelle
