#include "Storage/SecretStore.h"

#include "Support/FakeKeychainBackend.h"
#include "Support/InlineQueue.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::FakeAuthenticationContext;
using test::FakeKeychainBackend;
using test::runTask;
using test::sameBytes;
using test::secretBytes;
using Call = FakeKeychainBackend::Call;
using Kind = SecretStoreError::Kind;

const std::string entryText = "1E3F5A77-8B9C-4D2E-A1B2-C3D4E5F60718";
const Uuid entryID = *Uuid::parse("1e3f5a77-8b9c-4d2e-a1b2-c3d4e5f60718");

constexpr KeychainAccessControlRequest biometricAccess{
    KeychainAccessibility::whenUnlockedThisDeviceOnly,
    KeychainAccessControlFlags::biometryCurrentSet};

class SecretStoreTest : public testing::Test {
protected:
    // Runs one store call to its end and returns its error, if any.
    template <class T>
    std::optional<SecretStoreError> failureOf(Task<T> task) {
        try {
            runTask(executor, std::move(task));
        } catch (const SecretStoreError& error) {
            return error;
        }
        return std::nullopt;
    }
    // The rows every query starts from, plus `with`.
    static KeychainQuery baseQuery(std::shared_ptr<AuthenticationContext> with) {
        KeychainQuery query;
        query.service = "app.example.Test.passwords";
        query.account = entryText;
        query.authenticationContext = std::move(with);
        return query;
    }
    // That the last call was `call` with `expected`, sent with prompts forbidden.
    void expectLastCall(Call call, const KeychainQuery& expected) {
        ASSERT_FALSE(backend.received.empty());
        EXPECT_EQ(backend.received.back().call, call);
        EXPECT_TRUE(backend.received.back().query == expected);
        EXPECT_TRUE(backend.received.back().interactionNotAllowed);
    }
    FakeKeychainBackend::Item& item() {
        return backend.items[{"app.example.Test.passwords", entryText}];
    }
    // Logged once, with the entry and the status and nothing else.
    bool logged(const std::string& action, KeychainStatus status) const {
        return logs.contains("Protected Keychain " + action + " failed for entry " + entryText +
                             ", status " + std::to_string(status));
    }

    test::ManualExecutor executor;
    test::InlineQueue queue;
    FakeKeychainBackend backend;
    test::LogCapture logs;
    SecretStore store{backend, queue, "app.example.Test"};
    std::shared_ptr<FakeAuthenticationContext> context =
        std::make_shared<FakeAuthenticationContext>();
};

TEST(SecretStoreErrorTest, StatusesMapToTheirCasesAndKeepThePlatformsText) {
    EXPECT_EQ(SecretStoreError::fromStatus(-25299, "x").kind(), Kind::duplicateItem);
    EXPECT_EQ(SecretStoreError::fromStatus(-25300, std::nullopt).kind(), Kind::itemNotFound);
    EXPECT_EQ(SecretStoreError::fromStatus(-25308, "Not allowed."),
              SecretStoreError::keychain(-25308, "Not allowed."));
    for (const std::optional<std::string>& none : {std::optional<std::string>{}, {""}}) {
        EXPECT_EQ(SecretStoreError::fromStatus(-50, none).message(),
                  "Keychain operation failed with status -50.");
    }
    // An unsigned build says so, and still ends with the status and the platform's text.
    const auto unsignedBuild = SecretStoreError::fromStatus(-34018, "No entitlement.");
    EXPECT_TRUE(unsignedBuild.description().ends_with("status -34018: No entitlement."));
}

TEST_F(SecretStoreTest, CreateAddsABiometricItemFromTheQueue) {
    runTask(executor, store.createSecret(secretBytes("pa55"), entryID, context));
    auto expected = baseQuery(context);
    expected.accessControl = biometricAccess;
    expected.value = secretBytes("pa55");
    expectLastCall(Call::add, expected);
    EXPECT_EQ(queue.dispatchCount, 1);
    EXPECT_TRUE(sameBytes(item().value, "pa55"));

    EXPECT_EQ(failureOf(store.createSecret(secretBytes("new"), entryID, context)),
              SecretStoreError::duplicateItem());
    EXPECT_TRUE(logged("create", -25299));
    EXPECT_TRUE(sameBytes(item().value, "pa55"));

    for (const auto& text :
         {std::optional<std::string>("Bad flags."), std::optional<std::string>()}) {
        KeychainReply refusal;
        refusal.accessControlFailure = AccessControlFailure{text};
        backend.script(refusal);
        EXPECT_EQ(failureOf(store.createSecret(secretBytes("x"), entryID, context)),
                  SecretStoreError::accessControlCreationFailed(
                      text.value_or("The Keychain access control could not be created.")));
    }
}

// Without an approved context of the backend's own kind, nothing may reach the Keychain: left
// out of the query, it would let the Keychain prompt on its own.
TEST_F(SecretStoreTest, AMissingOrForeignContextIsRefused) {
    struct ForeignContext final : AuthenticationContext {
        void setInteractionNotAllowed(bool) override {}
        void invalidate() override {}
    };
    for (std::shared_ptr<AuthenticationContext> refused :
         {std::shared_ptr<AuthenticationContext>(),
          std::shared_ptr<AuthenticationContext>(std::make_shared<ForeignContext>())}) {
        SCOPED_TRACE(refused ? "foreign" : "none");
        EXPECT_EQ(failureOf(store.createSecret(secretBytes("x"), entryID, refused)),
                  SecretStoreError::authenticationContextUnavailable());
        EXPECT_EQ(failureOf(store.saveSecret(secretBytes("x"), entryID, refused)),
                  SecretStoreError::authenticationContextUnavailable());
        EXPECT_EQ(failureOf(store.readSecret(entryID, refused)),
                  SecretStoreError::authenticationContextUnavailable());
        EXPECT_EQ(failureOf(store.deleteSecret(entryID, refused)),
                  SecretStoreError::authenticationContextUnavailable());
    }
    EXPECT_TRUE(backend.items.empty());
}

TEST_F(SecretStoreTest, SaveCreatesThenReplacesOnlyTheValue) {
    runTask(executor, store.saveSecret(secretBytes("first"), entryID, context));
    runTask(executor, store.saveSecret(secretBytes("second"), entryID, context));
    ASSERT_EQ(backend.received.size(), 3U);
    EXPECT_EQ(backend.received[1].call, Call::add);
    expectLastCall(Call::update, baseQuery(context));
    EXPECT_TRUE(sameBytes(item().value, "second"));
    EXPECT_EQ(item().accessControl, biometricAccess);

    backend.scriptStatus(-34018);
    EXPECT_EQ(failureOf(store.saveSecret(secretBytes("v"), entryID, context))->status(), -34018);
    EXPECT_EQ(backend.received.size(), 4U) << "only a duplicate falls back to an update";
    backend.scriptStatus(keychainStatus::duplicateItem);
    backend.scriptStatus(keychainStatus::interactionNotAllowed);
    EXPECT_EQ(failureOf(store.saveSecret(secretBytes("new"), entryID, context))->status(), -25308);
    EXPECT_TRUE(logged("update", -25308));
}

TEST_F(SecretStoreTest, ReadReturnsTheValueOfOneItem) {
    EXPECT_EQ(failureOf(store.readSecret(entryID, context)), SecretStoreError::itemNotFound());
    EXPECT_TRUE(logged("read", -25300));

    item().value = secretBytes("typed");
    EXPECT_TRUE(sameBytes(runTask(executor, store.readSecret(entryID, context)), "typed"));
    auto expected = baseQuery(context);
    expected.matchLimit = KeychainMatchLimit::one;
    expected.returnKind = KeychainReturnKind::data;
    expectLastCall(Call::copyMatching, expected);

    backend.scriptStatus(keychainStatus::success); // success without a byte buffer
    EXPECT_EQ(failureOf(store.readSecret(entryID, context)),
              SecretStoreError::keychain(-67671, "Keychain returned an invalid password value."));
}

TEST_F(SecretStoreTest, DeleteRemovesTheItemAndReportsAMissingOne) {
    item().value = secretBytes("gone");
    runTask(executor, store.deleteSecret(entryID, context));
    expectLastCall(Call::remove, baseQuery(context));
    EXPECT_TRUE(backend.items.empty());
    EXPECT_EQ(failureOf(store.deleteSecret(entryID, context)), SecretStoreError::itemNotFound());
    EXPECT_TRUE(logged("delete", -25300));
}

TEST_F(SecretStoreTest, ContainsAsksWithAFreshContextThatCannotPromptAndInvalidatesIt) {
    struct Row {
        KeychainStatus status;
        std::optional<bool> exists; // none: the check fails
    };
    const Row rows[] = {{0, true},       {-25308, true},         {-25293, true},
                        {-25300, false}, {-34018, std::nullopt}, {-25299, std::nullopt}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status);
        backend.scriptStatus(row.status);
        std::optional<bool> exists;
        auto error = failureOf([](SecretStore& store, std::optional<bool>& exists) -> Task<void> {
            exists = co_await store.containsSecret(entryID);
        }(store, exists));
        EXPECT_EQ(exists, row.exists);
        EXPECT_EQ(error.has_value(), !row.exists.has_value());
        EXPECT_EQ(logged("existence check", row.status), !row.exists.has_value());

        auto expected = baseQuery(backend.madeContexts.back());
        expected.matchLimit = KeychainMatchLimit::one;
        expected.returnKind = KeychainReturnKind::attributes;
        expectLastCall(Call::copyMatching, expected);
        EXPECT_EQ(backend.madeContexts.back()->invalidationCount, 1);
    }
    EXPECT_EQ(backend.madeContexts.size(), std::size(rows));
}

} // namespace
} // namespace kestrelle
