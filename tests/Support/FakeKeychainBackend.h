#pragma once

#include "Storage/KeychainBackend.h"
#include "Storage/SecretStoreError.h"

#include <algorithm>
#include <deque>
#include <map>
#include <ostream>
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
inline bool sameBytes(std::span<const std::uint8_t> bytes, std::string_view text) {
    return std::ranges::equal(bytes, text, {}, {}, [](char c) { return std::uint8_t(c); });
}

class FakeAuthenticationContext final : public AuthenticationContext {
public:
    void setInteractionNotAllowed(bool notAllowed) override { interactionNotAllowed = notAllowed; }
    void invalidate() override { ++invalidationCount; }

    bool interactionNotAllowed = false;
    int invalidationCount = 0;
};

// An in-memory Keychain that records every call; the next calls' replies can be scripted. Like
// the platform, it refuses contexts of other types and opens nothing with an invalidated one.
class FakeKeychainBackend final : public KeychainBackend {
public:
    enum class Call { add, update, copyMatching, remove };
    struct Received {
        Call call;
        KeychainQuery query;
        bool interactionNotAllowed; // the context's setting at the moment of the call
    };
    struct Item {
        SecretBytes value;
        std::optional<KeychainAccessControlRequest> accessControl;
    };
    using Key = std::pair<std::string, std::string>; // service, account

    KeychainReply addItem(const KeychainQuery& query) override {
        return answer(Call::add, query, [&] {
            const Item item{query.value.value_or(SecretBytes{}), query.accessControl};
            return items.try_emplace(keyOf(query), item).second
                       ? KeychainReply{}
                       : status(KeychainStatus::Kind::duplicateItem);
        });
    }
    KeychainReply updateItem(const KeychainQuery& query, const SecretBytes& newValue) override {
        return answer(Call::update, query, [&](Item& item) {
            item.value = newValue;
            return KeychainReply{};
        });
    }
    KeychainReply copyMatching(const KeychainQuery& query) override {
        return answer(Call::copyMatching, query, [&](Item& item) {
            KeychainReply reply;
            if (query.returnKind == KeychainReturnKind::data) {
                reply.data = item.value;
            }
            return reply;
        });
    }
    KeychainReply deleteItem(const KeychainQuery& query) override {
        return answer(Call::remove, query, [&](Item&) {
            items.erase(keyOf(query));
            return KeychainReply{};
        });
    }

    std::optional<std::string> statusMessage(KeychainStatus status) override {
        const auto found = statusMessages.find(status.code);
        return found == statusMessages.end() ? std::nullopt : std::optional(found->second);
    }
    std::shared_ptr<AuthenticationContext> makeAuthenticationContext() override {
        return madeContexts.emplace_back(std::make_shared<FakeAuthenticationContext>());
    }

    // The next item calls answer with these replies, in order, and leave the items alone.
    void script(KeychainReply reply) { scripted_.push_back(std::move(reply)); }
    // Statuses as the macOS Keychain gives them: by kind, or by OSStatus.
    void scriptStatus(KeychainStatus::Kind kind) { script(status(kind)); }
    void scriptStatus(std::int32_t osStatus) {
        script(status(KeychainStatus::fromOSStatus(osStatus)));
    }
    static KeychainReply status(KeychainStatus::Kind kind) {
        return status(KeychainStatus::macOS(kind));
    }
    static KeychainReply status(KeychainStatus value) {
        KeychainReply reply;
        reply.status = value;
        return reply;
    }

    std::map<Key, Item> items;
    std::vector<Received> received;
    std::map<std::int32_t, std::string> statusMessages; // by status code
    std::vector<std::shared_ptr<FakeAuthenticationContext>> madeContexts;

private:
    static Key keyOf(const KeychainQuery& query) { return {query.service, query.account}; }

    // Records the call, then answers with the scripted reply, a refusal of the context, or what
    // `act` does (given the matching item, when it takes one: a missing item is not found).
    template <class Act>
    KeychainReply answer(Call call, const KeychainQuery& query, Act act) {
        const auto* context =
            dynamic_cast<const FakeAuthenticationContext*>(query.authenticationContext.get());
        received.push_back({call, query, context && context->interactionNotAllowed});
        if (!scripted_.empty()) {
            auto reply = std::move(scripted_.front());
            scripted_.pop_front();
            return reply;
        }
        if (query.authenticationContext && !context) {
            KeychainReply refusal;
            refusal.foreignAuthenticationContext = true;
            return refusal;
        }
        if (context && context->invalidationCount > 0) {
            return status(KeychainStatus::Kind::authenticationFailed);
        }
        if constexpr (std::is_invocable_v<Act&>) {
            return act();
        } else {
            const auto found = items.find(keyOf(query));
            return found == items.end() ? status(KeychainStatus::Kind::itemNotFound)
                                        : act(found->second);
        }
    }

    std::deque<KeychainReply> scripted_;
};

} // namespace kestrelle::test
