#pragma once

#include "Storage/KeychainBackend.h"

#include <memory>

namespace kestrelle {

// The secret store over the Secret Service (libsecret; the login keyring of gnome-keyring or
// KWallet). Each password is an item of the default collection with the schema
// "app.kestrelle.Kestrelle.Password" and the attributes `service` and `account` (the entry's
// identifier), labelled after the entry. Statuses come from KeychainStatus::fromSecretService.
//
// It binds no biometrics (PlatformTraits::secretStoreBindsBiometrics is false): it makes no
// authentication contexts and answers any query that carries one as foreign.
//
// It never prompts: nothing is ever unlocked. A search leaves a locked item locked, so an item
// or a default collection that is locked answers `interactionNotAllowed` and nothing changes.
// Storing with the same attributes would replace an item, so adding searches first and answers
// `duplicateItem` itself.
//
// The item calls are libsecret's synchronous ones, made on the keychain queue's one thread under
// a main context of the backend's own, pushed for each call: the connection is made there on
// first use, so its D-Bus proxies deliver their signals to that context, never to the main
// thread's loop, and each call first dispatches what is pending there.
class SecretServiceBackend final : public KeychainBackend {
public:
    SecretServiceBackend();
    ~SecretServiceBackend() override;
    SecretServiceBackend(const SecretServiceBackend&) = delete;
    SecretServiceBackend& operator=(const SecretServiceBackend&) = delete;

    KeychainReply addItem(const KeychainQuery& query) override;
    KeychainReply updateItem(const KeychainQuery& query, const SecretBytes& newValue) override;
    KeychainReply copyMatching(const KeychainQuery& query) override;
    KeychainReply deleteItem(const KeychainQuery& query) override;

    std::optional<std::string> statusMessage(KeychainStatus status) override;
    // None: the store binds no biometrics.
    std::shared_ptr<AuthenticationContext> makeAuthenticationContext() override;

private:
    struct Connection;

    // Runs `call` with the service and the query's attributes, under the backend's context.
    template <class Call>
    KeychainReply withService(const KeychainQuery& query, Call call);

    std::unique_ptr<Connection> connection_;
};

} // namespace kestrelle
