#include "Storage/SecretStoreError.h"

namespace kestrelle {

SecretStoreError::SecretStoreError(Kind kind, std::string description,
                                   std::optional<KeychainStatus> status, std::string message)
    : KestrelleError(std::move(description)), kind_(kind), status_(status),
      message_(std::move(message)) {}

SecretStoreError SecretStoreError::accessControlCreationFailed(std::string message) {
    return {Kind::accessControlCreationFailed,
            "Password protection could not be created: " + message, std::nullopt,
            std::move(message)};
}

SecretStoreError SecretStoreError::keychain(KeychainStatus status, std::string message) {
    const auto number = std::to_string(status.code);
    auto description =
        status.kind == KeychainStatus::Kind::missingEntitlement
            ? "Protected password storage is unavailable because this build is missing its "
              "signed Keychain entitlement. Install a correctly signed and provisioned Kestrelle "
              "build, then try again. Keychain status " +
                  number + ": " + message
            : std::string(status.store == KeychainStatus::Store::keyring ? "The keyring"
                                                                         : "The Keychain") +
                  " operation failed (status " + number + "): " + message;
    return {Kind::keychain, std::move(description), status, std::move(message)};
}

SecretStoreError SecretStoreError::authenticationContextUnavailable() {
    return {Kind::authenticationContextUnavailable,
            "A native biometric session is required for this password."};
}

SecretStoreError SecretStoreError::duplicateItem() {
    return {Kind::duplicateItem, "A password already exists for this entry."};
}

SecretStoreError SecretStoreError::itemNotFound() {
    return {Kind::itemNotFound, "The saved password is missing. Replace it in Settings."};
}

SecretStoreError SecretStoreError::fromStatus(KeychainStatus status,
                                              const std::optional<std::string>& platformMessage) {
    switch (status.kind) {
    case KeychainStatus::Kind::duplicateItem:
        return duplicateItem();
    case KeychainStatus::Kind::itemNotFound:
        return itemNotFound();
    default:
        if (platformMessage && !platformMessage->empty()) {
            return keychain(status, *platformMessage);
        }
        return keychain(
            status,
            std::string(status.store == KeychainStatus::Store::keyring ? "Keyring" : "Keychain") +
                " operation failed with status " + std::to_string(status.code) + ".");
    }
}

} // namespace kestrelle
