// The data-protection Keychain answers only a signed build with its access group; an unsigned
// one gets "missing entitlement" for every call, and the round trip is skipped with that reason.
#include "Storage/KeychainBackend_mac.h"

#import <Foundation/Foundation.h>

#include <gtest/gtest.h>

#include <string>

namespace kestrelle {
namespace {

TEST(DataProtectionKeychainTest, AddReadUpdateDeleteRoundTrip) {
    auto keychain = makeDataProtectionKeychain();
    KeychainQuery item{.service = "app.kestrelle.Kestrelle.tests",
                       .account = std::string(NSUUID.UUID.UUIDString.UTF8String)};
    const SecretBytes first{'o', 'n', 'e'};
    const SecretBytes second{'t', 'w', 'o'};

    auto adding = item;
    adding.value = first;
    const auto added = keychain->addItem(adding);
    if (added.status.kind == KeychainStatus::Kind::missingEntitlement) {
        GTEST_SKIP() << "unsigned build: the data-protection Keychain needs the signed "
                        "application identifier and access group";
    }
    ASSERT_TRUE(added.status.succeeded()) << "status " << added.status.code;

    auto reading = item;
    reading.matchLimit = KeychainMatchLimit::one;
    reading.returnKind = KeychainReturnKind::data;
    auto read = keychain->copyMatching(reading);
    ASSERT_TRUE(read.status.succeeded()) << "status " << read.status.code;
    EXPECT_TRUE(read.data == first);

    EXPECT_TRUE(keychain->updateItem(item, second).status.succeeded());
    read = keychain->copyMatching(reading);
    EXPECT_TRUE(read.data == second);

    EXPECT_TRUE(keychain->deleteItem(item).status.succeeded());
    EXPECT_EQ(keychain->copyMatching(reading).status.kind, KeychainStatus::Kind::itemNotFound);
}

TEST(DataProtectionKeychainTest, RefusesAContextItDidNotMakeBeforeAskingTheKeychain) {
    struct ForeignContext final : AuthenticationContext {
        void setInteractionNotAllowed(bool) override {}
        void invalidate() override {}
    };
    auto keychain = makeDataProtectionKeychain();
    const auto reply =
        keychain->deleteItem({.service = "app.kestrelle.Kestrelle.tests",
                              .account = "none",
                              .authenticationContext = std::make_shared<ForeignContext>()});
    EXPECT_TRUE(reply.foreignAuthenticationContext);
}

} // namespace
} // namespace kestrelle
