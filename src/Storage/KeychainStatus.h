#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kestrelle {

// What one secret-store call came to: the outcome as the core tells outcomes apart, and the
// platform's own number for it, which only logs and messages show. Each platform's mapping is
// here, beside the type, so that the adapters only translate.
struct KeychainStatus {
    enum class Kind {
        success,
        // The authentication context was refused (on macOS, an invalidated one).
        authenticationFailed,
        duplicateItem,
        itemNotFound,
        // The item exists but would need the user's interaction, which the store never allows.
        interactionNotAllowed,
        // macOS: the build lacks its signed Keychain entitlement.
        missingEntitlement,
        invalidValue,
        // Any outcome the core does not tell apart; `code` says which.
        other,
    };

    // Which store answered, for the messages that name it.
    enum class Store { keychain, keyring };

    Kind kind = Kind::success;
    // macOS: the OSStatus. Linux: the libsecret (SecretError) code, or for `other` the code of
    // whatever error the call failed with.
    std::int32_t code = 0;
    Store store = Store::keychain;

    // macOS: the status for an OSStatus, and for a kind (with the kind's OSStatus; the core's
    // own `invalidValue` uses that number too, so that reports tell it apart).
    static KeychainStatus fromOSStatus(std::int32_t osStatus);
    static KeychainStatus macOS(Kind kind);

    // Linux: libsecret's error codes name the outcomes the store tells apart, and the backend
    // reports what a search without unlocking found with them too: a locked item, no item, an
    // item already there. Errors of any other domain (D-Bus, I/O) are `other`.
    enum class SecretServiceDomain { secretError, other };
    struct SecretErrorCode {
        static constexpr std::int32_t isLocked = 2;
        static constexpr std::int32_t noSuchObject = 3;
        static constexpr std::int32_t alreadyExists = 4;
    };
    static KeychainStatus fromSecretService(SecretServiceDomain domain, std::int32_t code);
    // The Linux text for a status, when the core shows one.
    static std::optional<std::string> secretServiceMessage(const KeychainStatus& status);

    bool succeeded() const { return kind == Kind::success; }

    friend bool operator==(const KeychainStatus&, const KeychainStatus&) = default;
};

} // namespace kestrelle
