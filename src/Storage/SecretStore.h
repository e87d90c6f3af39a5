#pragma once

#include "Runtime/AppIdentity.h"
#include "Runtime/Logger.h"
#include "Runtime/SerialQueue.h"
#include "Runtime/Task.h"
#include "Runtime/Uuid.h"
#include "Storage/KeychainBackend.h"
#include "Storage/SecretStoreError.h"

#include <memory>
#include <string>
#include <string_view>

namespace kestrelle {

// Keeps each entry's password in a generic-password item of the platform's secret store. It
// never prompts. Where the store binds biometrics (macOS: the data-protection Keychain, readable
// only with the currently enrolled biometrics), every call on a protected item carries an
// authentication context whose approval was already given, and a context that is null, or that
// the backend did not make, fails with `authenticationContextUnavailable`. Where it does not
// (Linux: the login keyring protects the items at rest), the app's own approval has gated the
// call before it gets here: items get no access control, and queries carry no context, so the
// contexts passed in are not used. Every backend call runs on `queue`. Failures are
// SecretStoreError. The bytes passed in and returned are SecretBytes, wiped when freed.
class SecretStore {
public:
    // `backend` and `queue` must outlive the store and every call made on it. `bindsBiometrics`
    // is the platform's PlatformTraits::secretStoreBindsBiometrics.
    SecretStore(KeychainBackend& backend, SerialQueue& queue,
                std::string_view bundleIdentifier = fixedBundleIdentifier,
                bool bindsBiometrics = true);
    SecretStore(const SecretStore&) = delete;
    SecretStore& operator=(const SecretStore&) = delete;

    // The Keychain service of every item.
    const std::string& service() const { return service_; }

    // Fails with `duplicateItem` when the entry already has a password.
    Task<void> createSecret(SecretBytes data, Uuid entryID,
                            std::shared_ptr<AuthenticationContext> context);
    // Creates the item, or replaces the value of the existing one (keeping its access control).
    Task<void> saveSecret(SecretBytes data, Uuid entryID,
                          std::shared_ptr<AuthenticationContext> context);
    // The stored bytes, unchecked: whether they are valid UTF-8 is for the consumer to decide.
    Task<SecretBytes> readSecret(Uuid entryID, std::shared_ptr<AuthenticationContext> context);
    // A missing item fails with `itemNotFound`; whether that counts as deleted is the caller's
    // call.
    Task<void> deleteSecret(Uuid entryID, std::shared_ptr<AuthenticationContext> context);
    // Needs no approval and never prompts.
    Task<bool> containsSecret(Uuid entryID);

private:
    KeychainQuery baseQuery(const Uuid& entryID) const;
    // The base query, carrying `context` where the store binds biometrics.
    KeychainQuery approvedQuery(const Uuid& entryID,
                                const std::shared_ptr<AuthenticationContext>& context) const;
    // Runs one backend call on the queue.
    Task<KeychainReply> send(KeychainReply (KeychainBackend::*call)(const KeychainQuery&),
                             KeychainQuery query);
    // Logs the failure of `action` and returns the error to throw.
    SecretStoreError failure(std::string_view action, const Uuid& entryID, KeychainStatus status);

    KeychainBackend& backend_;
    SerialQueue& queue_;
    std::string service_;
    bool bindsBiometrics_;
    Logger logger_{"SecretStore"};
};

} // namespace kestrelle
