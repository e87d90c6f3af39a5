#include "Security/BiometricAvailability.h"

namespace kestrelle {

BiometricAvailability BiometricAvailability::from(const BiometricPolicyState& policy) {
    if (policy.canEvaluate) {
        return policy.kind ? available(*policy.kind) : unsupported();
    }
    switch (policy.error.value_or(BiometricErrorCode::authenticationFailed)) {
    case BiometricErrorCode::lockedOut:
        return lockedOut(policy.kind);
    case BiometricErrorCode::notEnrolled:
        return notEnrolled(policy.kind);
    case BiometricErrorCode::notAvailable:
        return unavailable(policy.kind);
    default:
        return unsupported(policy.kind);
    }
}

} // namespace kestrelle
