#pragma once

#include "Storage/KeychainBackend.h"
#include "Storage/SecretStoreError.h"

#include <deque>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelle {

// Keeps password bytes out of gtest's failure output.
inline void PrintTo(const SecretBytes& bytes, std::ostream* out) {
    *out << "<" << bytes.size() << " secret bytes>";
}

inline void PrintTo(const SecretStoreError& error, std::ostream* out) {
    *out << error.description();
}

} // namespace kestrelle

namespace kestrelle::test {

inline SecretBytes secretBytes(std::string_view text) {
    return SecretBytes(text.begin(), text.end());
}

// Compares without printing: use as EXPECT_TRUE(sameBytes(...)).
inline bool sameBytes(const SecretBytes& bytes, std::string_view text) {
    return bytes == secretBytes(text);
}

class FakeAuthenticationContext final : public AuthenticationContext {
public:
    void setInteractionNotAllowed(bool notAllowed) override { interactionNotAllowed = notAllowed; }
    void invalidate() override { ++invalidationCount; }

    bool interactionNotAllowed = false;
    int invalidationCount = 0;
};

// An in-memory Keychain that records every call; the next calls' replies can be scripted.
class FakeKeychainBackend final : public KeychainBackend {
public:
    enum class Call { add, update, copyMatching, remove };

    struct Received {
        Call call;
        KeychainQuery query;
        std::optional<SecretBytes> newValue;
        // The context's setting at the moment of the call.
        bool interactionNotAllowed = false;
    };

    struct Item {
        SecretBytes value;
        std::optional<KeychainAccessControlRequest> accessControl;
    };
    using Key = std::pair<std::string, std::string>; // service, account

    KeychainReply addItem(const KeychainQuery& query) override {
        if (auto reply = receive(Call::add, query)) {
            return *reply;
        }
        if (items.contains(keyOf(query))) {
            return status(keychainStatus::duplicateItem);
        }
        items[keyOf(query)] = Item{query.value.value_or(SecretBytes{}), query.accessControl};
        return {};
    }

    KeychainReply updateItem(const KeychainQuery& query, const SecretBytes& newValue) override {
        if (auto reply = receive(Call::update, query, newValue)) {
            return *reply;
        }
        auto found = items.find(keyOf(query));
        if (found == items.end()) {
            return status(keychainStatus::itemNotFound);
        }
        found->second.value = newValue;
        return {};
    }

    KeychainReply copyMatching(const KeychainQuery& query) override {
        if (auto reply = receive(Call::copyMatching, query)) {
            return *reply;
        }
        auto found = items.find(keyOf(query));
        if (found == items.end()) {
            return status(keychainStatus::itemNotFound);
        }
        KeychainReply reply;
        if (query.returnKind == KeychainReturnKind::data) {
            reply.data = found->second.value;
        }
        return reply;
    }

    KeychainReply deleteItem(const KeychainQuery& query) override {
        if (auto reply = receive(Call::remove, query)) {
            return *reply;
        }
        return items.erase(keyOf(query)) == 1 ? KeychainReply{}
                                              : status(keychainStatus::itemNotFound);
    }

    std::optional<std::string> statusMessage(KeychainStatus status) override {
        auto found = statusMessages.find(status);
        return found == statusMessages.end() ? std::nullopt : std::optional(found->second);
    }

    std::shared_ptr<AuthenticationContext> makeAuthenticationContext() override {
        madeContexts.push_back(std::make_shared<FakeAuthenticationContext>());
        return madeContexts.back();
    }

    // The next item calls answer with these replies, in order, and leave the items alone.
    void script(KeychainReply reply) { scripted_.push_back(std::move(reply)); }
    void scriptStatus(KeychainStatus value) { script(status(value)); }
    void scriptAccessControlFailure(std::optional<std::string> platformMessage) {
        KeychainReply reply;
        reply.accessControlFailure = AccessControlFailure{std::move(platformMessage)};
        script(std::move(reply));
    }

    static KeychainReply status(KeychainStatus value) {
        KeychainReply reply;
        reply.status = value;
        return reply;
    }

    std::map<Key, Item> items;
    std::vector<Received> received;
    std::map<KeychainStatus, std::string> statusMessages;
    std::vector<std::shared_ptr<FakeAuthenticationContext>> madeContexts;

private:
    static Key keyOf(const KeychainQuery& query) { return {query.service, query.account}; }

    // Records the call and returns its scripted reply, if one is due.
    std::optional<KeychainReply> receive(Call call, const KeychainQuery& query,
                                         std::optional<SecretBytes> newValue = std::nullopt) {
        const auto* context =
            dynamic_cast<const FakeAuthenticationContext*>(query.authenticationContext.get());
        received.push_back(
            {call, query, std::move(newValue), context && context->interactionNotAllowed});
        if (scripted_.empty()) {
            // As the platform does, an invalidated approval opens nothing.
            if (context && context->invalidationCount > 0) {
                return status(keychainStatus::authenticationFailed);
            }
            return std::nullopt;
        }
        auto reply = std::move(scripted_.front());
        scripted_.pop_front();
        return reply;
    }

    std::deque<KeychainReply> scripted_;
};

} // namespace kestrelle::test
