#pragma once

#include "Runtime/KestrelleError.h"
#include "Storage/KeychainQuery.h"

#include <optional>
#include <string>

namespace kestrelle {

class SecretStoreError : public KestrelleError {
public:
    enum class Kind {
        accessControlCreationFailed,
        keychain,
        authenticationContextUnavailable,
        duplicateItem,
        itemNotFound,
    };

    static SecretStoreError accessControlCreationFailed(std::string message);
    static SecretStoreError keychain(KeychainStatus status, std::string message);
    static SecretStoreError authenticationContextUnavailable();
    static SecretStoreError duplicateItem();
    static SecretStoreError itemNotFound();

    // The error for a failing status; `platformMessage` is the platform's text for it, if any.
    static SecretStoreError fromStatus(KeychainStatus status,
                                       const std::optional<std::string>& platformMessage);

    Kind kind() const { return kind_; }
    // Set for `keychain` only.
    std::optional<KeychainStatus> status() const { return status_; }
    // The payload of `accessControlCreationFailed` and `keychain`; empty otherwise.
    const std::string& message() const { return message_; }

    friend bool operator==(const SecretStoreError& a, const SecretStoreError& b) {
        return a.kind_ == b.kind_ && a.status_ == b.status_ && a.message_ == b.message_;
    }

private:
    SecretStoreError(Kind kind, std::string description, std::optional<KeychainStatus> status = {},
                     std::string message = {});

    Kind kind_;
    std::optional<KeychainStatus> status_;
    std::string message_;
};

} // namespace kestrelle
