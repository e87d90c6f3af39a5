#pragma once

#include "Runtime/AppIdentity.h"
#include "Runtime/Logger.h"
#include "Runtime/SerialQueue.h"
#include "Storage/KeychainBackend.h"
#include "Storage/SecretStoreError.h"
#include "Storage/SecretStoring.h"

#include <string>
#include <string_view>

namespace kestrelle {

// Keeps each entry's password in a generic-password item of the data-protection Keychain,
// readable only with the currently enrolled biometrics. Every backend call runs on `queue`.
class SecretStore final : public SecretStoring {
public:
    // `backend` and `queue` must outlive the store and every call made on it.
    SecretStore(KeychainBackend& backend, SerialQueue& queue,
                std::string_view bundleIdentifier = fixedBundleIdentifier);

    // The Keychain service of every item.
    const std::string& service() const { return service_; }

    Task<void> createSecret(SecretBytes data, Uuid entryID,
                            std::shared_ptr<AuthenticationContext> context) override;
    Task<void> saveSecret(SecretBytes data, Uuid entryID,
                          std::shared_ptr<AuthenticationContext> context) override;
    Task<SecretBytes> readSecret(Uuid entryID,
                                 std::shared_ptr<AuthenticationContext> context) override;
    Task<void> deleteSecret(Uuid entryID, std::shared_ptr<AuthenticationContext> context) override;
    Task<bool> containsSecret(Uuid entryID) override;

private:
    KeychainQuery baseQuery(const Uuid& entryID) const;
    // Runs one backend call on the queue.
    Task<KeychainReply> send(KeychainReply (KeychainBackend::*call)(const KeychainQuery&),
                             KeychainQuery query);
    // Logs the failure of `action` and returns the error to throw.
    SecretStoreError failure(std::string_view action, const Uuid& entryID, KeychainStatus status);

    KeychainBackend& backend_;
    SerialQueue& queue_;
    std::string service_;
    Logger logger_{"SecretStore"};
};

} // namespace kestrelle
