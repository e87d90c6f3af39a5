#include "Storage/SecretStore.h"

#include "Runtime/Offload.h"

namespace kestrelle {

namespace {

// Only the enrolled biometrics of this very device, and only while it is unlocked.
constexpr KeychainAccessControlRequest protectedItemAccess{
    KeychainAccessibility::whenUnlockedThisDeviceOnly,
    KeychainAccessControlFlags::biometryCurrentSet};

// Approved contexts only: the store never lets the Keychain prompt.
const std::shared_ptr<AuthenticationContext>&
requireContext(const std::shared_ptr<AuthenticationContext>& context) {
    if (!context) {
        throw SecretStoreError::authenticationContextUnavailable();
    }
    context->setInteractionNotAllowed(true);
    return context;
}

// The backend refused a context it did not make; the query never ran.
KeychainReply requireOwnContext(KeychainReply reply) {
    if (reply.foreignAuthenticationContext) {
        throw SecretStoreError::authenticationContextUnavailable();
    }
    return reply;
}

// Invalidates a context when the scope ends, however it ends.
struct InvalidateOnExit {
    std::shared_ptr<AuthenticationContext> context;
    ~InvalidateOnExit() {
        if (context) {
            context->invalidate();
        }
    }
};

} // namespace

SecretStore::SecretStore(KeychainBackend& backend, SerialQueue& queue,
                         std::string_view bundleIdentifier, bool bindsBiometrics)
    : backend_(backend), queue_(queue), service_(std::string(bundleIdentifier) + ".passwords"),
      bindsBiometrics_(bindsBiometrics) {}

KeychainQuery SecretStore::baseQuery(const Uuid& entryID) const {
    KeychainQuery query;
    query.itemClass = KeychainItemClass::genericPassword;
    query.service = service_;
    query.account = entryID.toString();
    query.useDataProtectionKeychain = true;
    query.synchronizable = false;
    return query;
}

KeychainQuery
SecretStore::approvedQuery(const Uuid& entryID,
                           const std::shared_ptr<AuthenticationContext>& context) const {
    auto query = baseQuery(entryID);
    if (bindsBiometrics_) {
        query.authenticationContext = requireContext(context);
    }
    return query;
}

SecretStoreError SecretStore::failure(std::string_view action, const Uuid& entryID,
                                      KeychainStatus status) {
    logger_.error("Protected Keychain {} failed for entry {}, status {}", PublicText(action),
                  entryID, status.code);
    return SecretStoreError::fromStatus(status, backend_.statusMessage(status));
}

// The work is bound to a variable before it is awaited: GCC 12 destroys a lambda temporary
// with captures inside a co_await expression twice.
Task<KeychainReply> SecretStore::send(KeychainReply (KeychainBackend::*call)(const KeychainQuery&),
                                      KeychainQuery query) {
    auto work = [backend = &backend_, call, query = std::move(query)] {
        return (backend->*call)(query);
    };
    co_return requireOwnContext(co_await offload(queue_, std::move(work)));
}

Task<void> SecretStore::createSecret(SecretBytes data, Uuid entryID,
                                     std::shared_ptr<AuthenticationContext> context) {
    auto query = approvedQuery(entryID, context);
    if (bindsBiometrics_) {
        query.accessControl = protectedItemAccess;
    }
    query.value = std::move(data);
    const auto reply = co_await send(&KeychainBackend::addItem, std::move(query));
    if (reply.accessControlFailure) {
        throw SecretStoreError::accessControlCreationFailed(
            reply.accessControlFailure->platformMessage.value_or(
                "The Keychain access control could not be created."));
    }
    if (!reply.status.succeeded()) {
        throw failure("create", entryID, reply.status);
    }
}

Task<void> SecretStore::saveSecret(SecretBytes data, Uuid entryID,
                                   std::shared_ptr<AuthenticationContext> context) {
    bool exists = false;
    try {
        co_await createSecret(data, entryID, context);
    } catch (const SecretStoreError& error) {
        if (error.kind() != SecretStoreError::Kind::duplicateItem) {
            throw;
        }
        exists = true;
    }
    if (!exists) {
        co_return;
    }
    // The existing item keeps its access control; only the value changes.
    auto query = approvedQuery(entryID, context);
    auto update = [backend = &backend_, query = std::move(query), data = std::move(data)] {
        return backend->updateItem(query, data);
    };
    const auto reply = requireOwnContext(co_await offload(queue_, std::move(update)));
    if (!reply.status.succeeded()) {
        throw failure("update", entryID, reply.status);
    }
}

Task<SecretBytes> SecretStore::readSecret(Uuid entryID,
                                          std::shared_ptr<AuthenticationContext> context) {
    auto query = approvedQuery(entryID, context);
    query.matchLimit = KeychainMatchLimit::one;
    query.returnKind = KeychainReturnKind::data;
    auto reply = co_await send(&KeychainBackend::copyMatching, std::move(query));
    if (!reply.status.succeeded()) {
        throw failure("read", entryID, reply.status);
    }
    if (!reply.data) {
        // The status number is ours (the macOS one, everywhere), fixed so that this case can be
        // told apart in reports.
        throw SecretStoreError::keychain(KeychainStatus::macOS(KeychainStatus::Kind::invalidValue),
                                         "Keychain returned an invalid password value.");
    }
    co_return std::move(*reply.data);
}

Task<void> SecretStore::deleteSecret(Uuid entryID, std::shared_ptr<AuthenticationContext> context) {
    const auto reply = co_await send(&KeychainBackend::deleteItem, approvedQuery(entryID, context));
    if (!reply.status.succeeded()) {
        throw failure("delete", entryID, reply.status);
    }
}

Task<bool> SecretStore::containsSecret(Uuid entryID) {
    // A context of its own that can never prompt: a protected item then answers that it would
    // need approval instead of asking for it.
    const InvalidateOnExit fresh{bindsBiometrics_ ? backend_.makeAuthenticationContext() : nullptr};
    auto query = approvedQuery(entryID, fresh.context);
    query.matchLimit = KeychainMatchLimit::one;
    query.returnKind = KeychainReturnKind::attributes;
    const auto reply = co_await send(&KeychainBackend::copyMatching, std::move(query));
    switch (reply.status.kind) {
    case KeychainStatus::Kind::success:
    case KeychainStatus::Kind::interactionNotAllowed:
    case KeychainStatus::Kind::authenticationFailed:
        co_return true;
    case KeychainStatus::Kind::itemNotFound:
        co_return false;
    default:
        throw failure("existence check", entryID, reply.status);
    }
}

} // namespace kestrelle
