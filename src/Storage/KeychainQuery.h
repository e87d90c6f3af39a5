#pragma once

#include "Storage/AuthenticationContext.h"
#include "Storage/KeychainStatus.h"
#include "Storage/SecureWipe.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kestrelle {

enum class KeychainItemClass { genericPassword };

enum class KeychainAccessibility { whenUnlockedThisDeviceOnly };

// Access control flags, with the platform's values.
enum class KeychainAccessControlFlags : std::uint64_t {
    none = 0,
    biometryCurrentSet = 8,
};

// The access control a new item is to be created with.
struct KeychainAccessControlRequest {
    KeychainAccessibility accessibility = KeychainAccessibility::whenUnlockedThisDeviceOnly;
    KeychainAccessControlFlags flags = KeychainAccessControlFlags::none;

    friend bool operator==(const KeychainAccessControlRequest&,
                           const KeychainAccessControlRequest&) = default;
};

enum class KeychainMatchLimit { one };

enum class KeychainReturnKind { data, attributes };

// One Keychain query, described portably; the platform backend turns it into its own form.
// Unset optional fields are left out of the query.
struct KeychainQuery {
    KeychainItemClass itemClass = KeychainItemClass::genericPassword;
    std::string service;
    std::string account;
    bool useDataProtectionKeychain = true;
    bool synchronizable = false;
    std::optional<KeychainAccessControlRequest> accessControl;
    std::shared_ptr<AuthenticationContext> authenticationContext;
    std::optional<KeychainMatchLimit> matchLimit;
    std::optional<KeychainReturnKind> returnKind;
    std::optional<SecretBytes> value;

    friend bool operator==(const KeychainQuery&, const KeychainQuery&) = default;
};

// Why the requested access control could not be made; nothing reached the Keychain then.
struct AccessControlFailure {
    // The platform error's description, when it gave one.
    std::optional<std::string> platformMessage;
};

struct KeychainReply {
    KeychainStatus status;
    // The item's value, when the query asked for data and a byte buffer came back; the core's
    // from now on, wiped by it.
    std::optional<SecretBytes> data;
    std::optional<AccessControlFailure> accessControlFailure;
    // The query's authentication context was not made by this backend; nothing reached the
    // Keychain.
    bool foreignAuthenticationContext = false;
};

} // namespace kestrelle
