#pragma once

namespace kestrelle {

// Why the platform refused an approval, as far as the core tells the outcomes apart. Each
// platform's own answers map onto these in BiometricPlatformMapping.
enum class BiometricErrorCode {
    // No match, and the platform gave up.
    authenticationFailed,
    // The user dismissed the prompt.
    userCancel,
    // The system dismissed the prompt.
    systemCancel,
    // The app invalidated the context, before or during the prompt.
    appCancel,
    // No sensor or prompt can be used now.
    notAvailable,
    notEnrolled,
    lockedOut,
};

} // namespace kestrelle
