#pragma once

#include "Storage/KeychainQuery.h"

#include <memory>
#include <optional>
#include <string>

namespace kestrelle {

// The platform's secret store (the Keychain), one call per item operation. The item calls may
// block and are made from a background queue, one at a time. Statuses are the portable
// KeychainStatus, made by the platform's mapping there.
// Real: KeychainBackend_mac.mm, SecretServiceBackend_linux.cpp. Fake: FakeKeychainBackend.
//
// Contract, held by SecretStore:
// - Authentication contexts: a query's context comes from BiometricContext or from
//   makeAuthenticationContext. One of a type this backend did not make is answered with
//   `foreignAuthenticationContext` and reaches nothing; it is never left out of the query,
//   since a query without a context may show a fresh prompt.
// - A store that binds no biometrics (PlatformTraits::secretStoreBindsBiometrics false) makes
//   no contexts, so every context is foreign to it, and SecretStore sends none: there the app's
//   approval (BiometricContext) gates each call before the store is asked, and the backend never
//   prompts with or without a context. What would need the user (a locked keyring) is answered
//   with `interactionNotAllowed` and changes nothing.
// - Secret bytes: the value in a query is the core's and is wiped by it; the backend passes it
//   to the platform without keeping a copy. Returned data is copied into `KeychainReply::data`
//   and the platform's own buffer released before the call returns; the core then owns that
//   buffer and wipes it after use.
class KeychainBackend {
public:
    virtual ~KeychainBackend() = default;

    // Adds the item the query describes, creating its access control first when one is
    // requested.
    virtual KeychainReply addItem(const KeychainQuery& query) = 0;
    // Replaces the value of the item the query matches; its other attributes stay.
    virtual KeychainReply updateItem(const KeychainQuery& query, const SecretBytes& newValue) = 0;
    virtual KeychainReply copyMatching(const KeychainQuery& query) = 0;
    virtual KeychainReply deleteItem(const KeychainQuery& query) = 0;

    // The platform's text for a status, when it has one. Quick; called from the main thread.
    virtual std::optional<std::string> statusMessage(KeychainStatus status) = 0;
    // A fresh, unapproved authentication context, for queries that must never prompt; none
    // from a store that binds no biometrics.
    virtual std::shared_ptr<AuthenticationContext> makeAuthenticationContext() = 0;
};

} // namespace kestrelle
