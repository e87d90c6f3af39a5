#pragma once

#include "Runtime/Task.h"
#include "Runtime/Uuid.h"
#include "Storage/AuthenticationContext.h"
#include "Storage/SecureWipe.h"

#include <memory>

namespace kestrelle {

// The Keychain store of password values, one item per entry. It never prompts: every call on a
// protected item carries an authentication context whose approval was already given, and a
// null context fails with `authenticationContextUnavailable`. Failures are SecretStoreError.
class SecretStoring {
public:
    virtual ~SecretStoring() = default;

    // Fails with `duplicateItem` when the entry already has a password.
    virtual Task<void> createSecret(SecretBytes data, Uuid entryID,
                                    std::shared_ptr<AuthenticationContext> context) = 0;
    // Creates the item, or replaces the value of the existing one (keeping its access control).
    virtual Task<void> saveSecret(SecretBytes data, Uuid entryID,
                                  std::shared_ptr<AuthenticationContext> context) = 0;
    // The stored bytes, unchecked: whether they are valid UTF-8 is for the consumer to decide.
    virtual Task<SecretBytes> readSecret(Uuid entryID,
                                         std::shared_ptr<AuthenticationContext> context) = 0;
    // A missing item fails with `itemNotFound`; whether that counts as deleted is the caller's
    // call.
    virtual Task<void> deleteSecret(Uuid entryID,
                                    std::shared_ptr<AuthenticationContext> context) = 0;
    // Needs no approval and never prompts.
    virtual Task<bool> containsSecret(Uuid entryID) = 0;
};

} // namespace kestrelle
