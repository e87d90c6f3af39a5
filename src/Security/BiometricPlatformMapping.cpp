#include "Security/BiometricPlatformMapping.h"

#include <array>
#include <utility>

namespace kestrelle {

namespace {

template <class Key, std::size_t count>
std::optional<BiometricErrorCode>
lookUp(const std::array<std::pair<Key, BiometricErrorCode>, count>& table, Key key) {
    for (const auto& [platformValue, code] : table) {
        if (platformValue == key) {
            return code;
        }
    }
    return std::nullopt;
}

// LAError. The user choosing the fallback cancels: no fallback exists. An invalidated context
// was the app's doing. Passcode not set (-5) and the rest are plain failures.
constexpr std::array<std::pair<std::int64_t, BiometricErrorCode>, 9> localAuthenticationErrors{{
    {-1, BiometricErrorCode::authenticationFailed},
    {-2, BiometricErrorCode::userCancel},
    {-3, BiometricErrorCode::userCancel},
    {-4, BiometricErrorCode::systemCancel},
    {-6, BiometricErrorCode::notAvailable},
    {-7, BiometricErrorCode::notEnrolled},
    {-8, BiometricErrorCode::lockedOut},
    {-9, BiometricErrorCode::appCancel},
    {-10, BiometricErrorCode::appCancel},
}};

// Errors of the daemons and the bus. A reader that is missing, busy or not this user's to claim
// is not available; polkit ends a check as cancelled only when the app cancelled it.
constexpr std::array<std::pair<std::string_view, BiometricErrorCode>, 8> dbusErrors{{
    {"net.reactivated.Fprint.Error.NoSuchDevice", BiometricErrorCode::notAvailable},
    {"net.reactivated.Fprint.Error.NoEnrolledPrints", BiometricErrorCode::notEnrolled},
    {"net.reactivated.Fprint.Error.AlreadyInUse", BiometricErrorCode::notAvailable},
    {"net.reactivated.Fprint.Error.ClaimDevice", BiometricErrorCode::notAvailable},
    {"net.reactivated.Fprint.Error.PermissionDenied", BiometricErrorCode::notAvailable},
    {"org.freedesktop.PolicyKit1.Error.Cancelled", BiometricErrorCode::appCancel},
    {"org.freedesktop.DBus.Error.ServiceUnknown", BiometricErrorCode::notAvailable},
    {"org.freedesktop.DBus.Error.NameHasNoOwner", BiometricErrorCode::notAvailable},
}};

BiometricEvaluationResult fingerprintRefusal(BiometricErrorCode error) {
    return {false, error, BiometricKind::fingerprint};
}

} // namespace

std::optional<BiometricKind> biometricKindFromLocalAuthentication(std::int64_t biometryType) {
    switch (biometryType) {
    case 1:
        return BiometricKind::touchID;
    case 2:
        return BiometricKind::faceID;
    default:
        return std::nullopt;
    }
}

std::optional<BiometricErrorCode> biometricErrorFromLocalAuthentication(std::int64_t code) {
    return lookUp(localAuthenticationErrors, code);
}

BiometricErrorCode biometricErrorFromDBus(std::string_view errorName) {
    return lookUp(dbusErrors, errorName).value_or(BiometricErrorCode::authenticationFailed);
}

BiometricPolicyState desktopApprovalPolicy(std::optional<BiometricErrorCode> fingerprintRefusal,
                                           bool polkitAuthorityRuns) {
    if (!fingerprintRefusal) {
        return {true, BiometricKind::fingerprint, std::nullopt};
    }
    if (polkitAuthorityRuns) {
        return {true, BiometricKind::password, std::nullopt};
    }
    return {false, BiometricKind::fingerprint, fingerprintRefusal};
}

FingerprintVerifyStep fingerprintVerifyStep(std::string_view status, bool done, int noMatches) {
    using Action = FingerprintVerifyStep::Action;
    if (status == "verify-match") {
        return {Action::finish, {true, std::nullopt, BiometricKind::fingerprint}};
    }
    if (status == "verify-no-match") {
        return noMatches + 1 < fingerprintAttemptLimit
                   ? FingerprintVerifyStep{Action::retry, {}}
                   : FingerprintVerifyStep{
                         Action::finish,
                         fingerprintRefusal(BiometricErrorCode::authenticationFailed)};
    }
    if (status == "verify-disconnected") {
        return {Action::finish, fingerprintRefusal(BiometricErrorCode::notAvailable)};
    }
    if (done) {
        return {Action::finish, fingerprintRefusal(BiometricErrorCode::authenticationFailed)};
    }
    return {};
}

BiometricEvaluationResult polkitEvaluationResult(bool authorized, bool challenge, bool dismissed) {
    if (authorized) {
        return {true, std::nullopt, BiometricKind::password};
    }
    return {false,
            dismissed   ? BiometricErrorCode::userCancel
            : challenge ? BiometricErrorCode::notAvailable
                        : BiometricErrorCode::authenticationFailed,
            BiometricKind::password};
}

} // namespace kestrelle
