#include "Storage/KeychainBackend_mac.h"

#include "Storage/AuthenticationContext_mac.h"

#import <Foundation/Foundation.h>
#import <Security/Security.h>

#include <variant>

namespace kestrelle {

namespace {

NSString *toString(const std::string &text) {
    return [[NSString alloc] initWithBytes:text.data()
                                    length:text.size()
                                  encoding:NSUTF8StringEncoding];
}

// Lends the core's bytes to the Keychain; no copy is made that the core could not wipe.
NSData *lend(const SecretBytes &bytes) {
    return CFBridgingRelease(CFDataCreateWithBytesNoCopy(
        kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
}

KeychainReply refusal(std::optional<AccessControlFailure> failure, bool foreignContext) {
    KeychainReply reply{.status = KeychainStatus::macOS(KeychainStatus::Kind::other)};
    reply.accessControlFailure = std::move(failure);
    reply.foreignAuthenticationContext = foreignContext;
    return reply;
}

// The query as SecItem takes it, or the reply that ends the call before the Keychain is asked.
std::variant<NSDictionary *, KeychainReply> translate(const KeychainQuery &query) {
    NSMutableDictionary *item = [NSMutableDictionary dictionary];
    item[(__bridge id)kSecClass] = (__bridge id)kSecClassGenericPassword;
    item[(__bridge id)kSecAttrService] = toString(query.service);
    item[(__bridge id)kSecAttrAccount] = toString(query.account);
    item[(__bridge id)kSecUseDataProtectionKeychain] = @(query.useDataProtectionKeychain);
    item[(__bridge id)kSecAttrSynchronizable] = @(query.synchronizable);
    if (query.authenticationContext) {
        auto *session =
            dynamic_cast<LocalAuthenticationSession *>(query.authenticationContext.get());
        if (session == nullptr) {
            return refusal(std::nullopt, true);
        }
        item[(__bridge id)kSecUseAuthenticationContext] = session->context();
    }
    if (query.accessControl) {
        CFErrorRef error = nullptr;
        SecAccessControlRef access = SecAccessControlCreateWithFlags(
            kCFAllocatorDefault, kSecAttrAccessibleWhenUnlockedThisDeviceOnly,
            static_cast<SecAccessControlCreateFlags>(query.accessControl->flags), &error);
        if (access == nullptr) {
            NSError *reason = CFBridgingRelease(error);
            AccessControlFailure failure;
            if (reason != nil) {
                failure.platformMessage = std::string(reason.localizedDescription.UTF8String);
            }
            return refusal(failure, false);
        }
        item[(__bridge id)kSecAttrAccessControl] = CFBridgingRelease(access);
    }
    if (query.matchLimit) {
        item[(__bridge id)kSecMatchLimit] = (__bridge id)kSecMatchLimitOne;
    }
    if (query.returnKind == KeychainReturnKind::data) {
        item[(__bridge id)kSecReturnData] = @YES;
    }
    if (query.returnKind == KeychainReturnKind::attributes) {
        item[(__bridge id)kSecReturnAttributes] = @YES;
    }
    if (query.value) {
        item[(__bridge id)kSecValueData] = lend(*query.value);
    }
    return item;
}

template <class Call> KeychainReply withQuery(const KeychainQuery &query, Call call) {
    auto translated = translate(query);
    if (auto *reply = std::get_if<KeychainReply>(&translated)) {
        return std::move(*reply);
    }
    return call((__bridge CFDictionaryRef)std::get<NSDictionary *>(translated));
}

KeychainReply statusReply(OSStatus status) {
    return {.status = KeychainStatus::fromOSStatus(status)};
}

class DataProtectionKeychain final : public KeychainBackend {
  public:
    KeychainReply addItem(const KeychainQuery &query) override {
        return withQuery(
            query, [](CFDictionaryRef item) { return statusReply(SecItemAdd(item, nullptr)); });
    }

    KeychainReply updateItem(const KeychainQuery &query, const SecretBytes &newValue) override {
        return withQuery(query, [&](CFDictionaryRef item) {
            NSDictionary *change = @{(__bridge id)kSecValueData : lend(newValue)};
            return statusReply(SecItemUpdate(item, (__bridge CFDictionaryRef)change));
        });
    }

    KeychainReply copyMatching(const KeychainQuery &query) override {
        return withQuery(query, [](CFDictionaryRef item) {
            CFTypeRef result = nullptr;
            auto reply = statusReply(SecItemCopyMatching(item, &result));
            if (result != nullptr && CFGetTypeID(result) == CFDataGetTypeID()) {
                auto data = static_cast<CFDataRef>(result);
                const UInt8 *bytes = CFDataGetBytePtr(data);
                reply.data = SecretBytes(bytes, bytes + CFDataGetLength(data));
            }
            if (result != nullptr) {
                CFRelease(result);
            }
            return reply;
        });
    }

    KeychainReply deleteItem(const KeychainQuery &query) override {
        return withQuery(query,
                         [](CFDictionaryRef item) { return statusReply(SecItemDelete(item)); });
    }

    std::optional<std::string> statusMessage(KeychainStatus status) override {
        NSString *message = CFBridgingRelease(SecCopyErrorMessageString(status.code, nullptr));
        if (message == nil) {
            return std::nullopt;
        }
        return std::string(message.UTF8String);
    }

    std::shared_ptr<AuthenticationContext> makeAuthenticationContext() override {
        return std::make_shared<LocalAuthenticationSession>([[LAContext alloc] init]);
    }
};

} // namespace

std::unique_ptr<KeychainBackend> makeDataProtectionKeychain() {
    return std::make_unique<DataProtectionKeychain>();
}

} // namespace kestrelle
