#include "Storage/KeychainStatus.h"

#include "Runtime/Check.h"

#include <algorithm>
#include <array>

namespace kestrelle {

namespace {

using Kind = KeychainStatus::Kind;

struct Named {
    Kind kind;
    std::int32_t code;
};

// The Security framework's numbers for the kinds the core tells apart.
constexpr std::array<Named, 7> osStatuses{{
    {Kind::success, 0},
    {Kind::authenticationFailed, -25293},
    {Kind::duplicateItem, -25299},
    {Kind::itemNotFound, -25300},
    {Kind::interactionNotAllowed, -25308},
    {Kind::missingEntitlement, -34018},
    {Kind::invalidValue, -67671},
}};

// libsecret's error codes for the kinds the core tells apart.
constexpr std::array<Named, 3> secretErrorCodes{{
    {Kind::interactionNotAllowed, KeychainStatus::SecretErrorCode::isLocked},
    {Kind::itemNotFound, KeychainStatus::SecretErrorCode::noSuchObject},
    {Kind::duplicateItem, KeychainStatus::SecretErrorCode::alreadyExists},
}};

} // namespace

KeychainStatus KeychainStatus::fromOSStatus(std::int32_t osStatus) {
    const auto* found = std::ranges::find(osStatuses, osStatus, &Named::code);
    return {found == osStatuses.end() ? Kind::other : found->kind, osStatus};
}

KeychainStatus KeychainStatus::macOS(Kind kind) {
    const auto* found = std::ranges::find(osStatuses, kind, &Named::kind);
    KESTRELLE_CHECK(found != osStatuses.end(), "Only the named kinds have an OSStatus.");
    return {kind, found->code};
}

KeychainStatus KeychainStatus::fromSecretService(SecretServiceDomain domain, std::int32_t code) {
    const auto* found = std::ranges::find(secretErrorCodes, code, &Named::code);
    if (domain != SecretServiceDomain::secretError || found == secretErrorCodes.end()) {
        return {Kind::other, code, Store::keyring};
    }
    return {found->kind, code, Store::keyring};
}

std::optional<std::string> KeychainStatus::secretServiceMessage(const KeychainStatus& status) {
    switch (status.kind) {
    case Kind::interactionNotAllowed:
        return "The keyring that holds your passwords is locked. Unlock it, then try again.";
    case Kind::other:
        return "The Secret Service could not complete the request.";
    default:
        return std::nullopt;
    }
}

} // namespace kestrelle
