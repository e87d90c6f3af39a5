#pragma once

#include "Storage/KeychainQuery.h"

#include <memory>
#include <optional>
#include <string>

namespace kestrelle {

// The platform's Keychain, one call per item operation. The item calls may block (the system
// may show its own interface) and are made from a background queue, one at a time.
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
    // A fresh, unapproved authentication context, for queries that must never prompt.
    virtual std::shared_ptr<AuthenticationContext> makeAuthenticationContext() = 0;
};

} // namespace kestrelle
