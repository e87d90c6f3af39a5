#include "Security/BiometricAvailability.h"

namespace kestrelle {

BiometricAvailability BiometricAvailability::from(const BiometricPolicyState& policy) {
    if (policy.canEvaluate) {
        switch (policy.biometryType) {
        case BiometryType::touchID:
            return available(BiometricKind::touchID);
        case BiometryType::faceID:
            return available(BiometricKind::faceID);
        default:
            return unsupported();
        }
    }
    if (!policy.error) {
        return unsupported();
    }
    switch (*policy.error) {
    case BiometricErrorCode::biometryLockout:
        return lockedOut();
    case BiometricErrorCode::biometryNotEnrolled:
        return notEnrolled();
    case BiometricErrorCode::biometryNotAvailable:
        return unavailable();
    default:
        return unsupported();
    }
}

} // namespace kestrelle
