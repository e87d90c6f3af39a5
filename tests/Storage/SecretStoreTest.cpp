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
const std::string service = "app.example.Test.passwords";

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

    // The rows every query starts from, plus `context`.
    KeychainQuery baseQuery(std::shared_ptr<AuthenticationContext> with) const {
        KeychainQuery query;
        query.service = service;
        query.account = entryText;
        query.authenticationContext = std::move(with);
        return query;
    }

    // That the last call was `call` with `expected`, sent with prompts forbidden.
    void expectLastCall(Call call, const KeychainQuery& expected) {
        ASSERT_FALSE(backend.received.empty());
        const auto& last = backend.received.back();
        EXPECT_EQ(last.call, call);
        EXPECT_TRUE(last.query == expected);
        EXPECT_TRUE(last.interactionNotAllowed);
    }

    void storeItem(std::string_view password) {
        backend.items[{service, entryText}] = {secretBytes(password), biometricAccess};
    }
    const FakeKeychainBackend::Item& storedItem() { return backend.items.at({service, entryText}); }

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

TEST(SecretStoreErrorTest, DescriptionsAndStatusMapping) {
    EXPECT_EQ(SecretStoreError::accessControlCreationFailed("No memory.").description(),
              "Password protection could not be created: No memory.");
    EXPECT_EQ(SecretStoreError::authenticationContextUnavailable().description(),
              "A native biometric session is required for this password.");
    EXPECT_EQ(SecretStoreError::fromStatus(-25299, "ignored").description(),
              "A password already exists for this entry.");
    EXPECT_EQ(SecretStoreError::fromStatus(-25300, std::nullopt).description(),
              "The saved password is missing. Replace it in Settings.");

    const auto withText = SecretStoreError::fromStatus(-25308, "User interaction is not allowed.");
    EXPECT_EQ(withText, SecretStoreError::keychain(-25308, "User interaction is not allowed."));
    EXPECT_EQ(withText.description(),
              "The Keychain operation failed (status -25308): User interaction is not allowed.");
    for (const std::optional<std::string>& none : {std::optional<std::string>{}, {""}}) {
        EXPECT_EQ(SecretStoreError::fromStatus(-50, none),
                  SecretStoreError::keychain(-50, "Keychain operation failed with status -50."));
    }

    const std::string unsignedText =
        "Protected password storage is unavailable because this build is missing its signed "
        "Keychain entitlement. Install a correctly signed and provisioned Kestrelle build, then "
        "try again. Keychain status -34018: ";
    EXPECT_EQ(
        SecretStoreError::fromStatus(-34018, "A required entitlement isn't present.").description(),
        unsignedText + "A required entitlement isn't present.");
    EXPECT_EQ(SecretStoreError::fromStatus(-34018, std::nullopt).description(),
              unsignedText + "Keychain operation failed with status -34018.");
}

TEST_F(SecretStoreTest, CreateAddsABiometricItemFromTheQueue) {
    runTask(executor, store.createSecret(secretBytes("pa55"), entryID, context));

    auto expected = baseQuery(context);
    expected.accessControl = biometricAccess;
    expected.value = secretBytes("pa55");
    expectLastCall(Call::add, expected);
    EXPECT_EQ(queue.dispatchCount, 1);
    EXPECT_TRUE(sameBytes(storedItem().value, "pa55"));
}

TEST_F(SecretStoreTest, CreateFailures) {
    storeItem("old");
    EXPECT_EQ(failureOf(store.createSecret(secretBytes("new"), entryID, context)),
              SecretStoreError::duplicateItem());
    EXPECT_TRUE(logged("create", -25299));
    EXPECT_TRUE(sameBytes(storedItem().value, "old"));

    backend.scriptAccessControlFailure("The flags are invalid.");
    EXPECT_EQ(failureOf(store.createSecret(secretBytes("x"), entryID, context)),
              SecretStoreError::accessControlCreationFailed("The flags are invalid."));
    backend.scriptAccessControlFailure(std::nullopt);
    EXPECT_EQ(failureOf(store.createSecret(secretBytes("x"), entryID, context)),
              SecretStoreError::accessControlCreationFailed(
                  "The Keychain access control could not be created."));

    const auto sent = backend.received.size();
    EXPECT_EQ(failureOf(store.createSecret(secretBytes("x"), entryID, nullptr)),
              SecretStoreError::authenticationContextUnavailable());
    EXPECT_EQ(backend.received.size(), sent);
}

TEST_F(SecretStoreTest, SaveCreatesThenReplacesOnlyTheValue) {
    runTask(executor, store.saveSecret(secretBytes("first"), entryID, context));
    EXPECT_EQ(backend.received.size(), 1U);

    runTask(executor, store.saveSecret(secretBytes("second"), entryID, context));
    ASSERT_EQ(backend.received.size(), 3U);
    EXPECT_EQ(backend.received[1].call, Call::add);
    expectLastCall(Call::update, baseQuery(context));
    EXPECT_TRUE(sameBytes(backend.received[2].newValue.value(), "second"));
    EXPECT_TRUE(sameBytes(storedItem().value, "second"));
    EXPECT_EQ(storedItem().accessControl, biometricAccess);
}

TEST_F(SecretStoreTest, SaveFailures) {
    backend.scriptStatus(-34018);
    EXPECT_EQ(failureOf(store.saveSecret(secretBytes("v"), entryID, context)).value().kind(),
              Kind::keychain);
    EXPECT_EQ(backend.received.size(), 1U) << "only a duplicate falls back to an update";

    backend.scriptStatus(keychainStatus::duplicateItem);
    backend.scriptStatus(keychainStatus::interactionNotAllowed);
    EXPECT_EQ(failureOf(store.saveSecret(secretBytes("new"), entryID, context)).value().status(),
              -25308);
    EXPECT_TRUE(logged("update", -25308));
}

TEST_F(SecretStoreTest, ReadReturnsTheValueOfOneItem) {
    storeItem("typed");
    EXPECT_TRUE(sameBytes(runTask(executor, store.readSecret(entryID, context)), "typed"));

    auto expected = baseQuery(context);
    expected.matchLimit = KeychainMatchLimit::one;
    expected.returnKind = KeychainReturnKind::data;
    expectLastCall(Call::copyMatching, expected);
}

TEST_F(SecretStoreTest, ReadFailures) {
    EXPECT_EQ(failureOf(store.readSecret(entryID, context)).value().description(),
              "The saved password is missing. Replace it in Settings.");
    EXPECT_TRUE(logged("read", -25300));

    backend.scriptStatus(keychainStatus::success); // success without a byte buffer
    EXPECT_EQ(failureOf(store.readSecret(entryID, context)),
              SecretStoreError::keychain(-67671, "Keychain returned an invalid password value."));

    backend.statusMessages[-34018] = "A required entitlement isn't present.";
    backend.scriptStatus(-34018);
    EXPECT_TRUE(failureOf(store.readSecret(entryID, context))
                    .value()
                    .description()
                    .ends_with("Keychain status -34018: A required entitlement isn't present."));

    EXPECT_EQ(failureOf(store.readSecret(entryID, nullptr)),
              SecretStoreError::authenticationContextUnavailable());
}

TEST_F(SecretStoreTest, DeleteRemovesTheItemAndReportsAMissingOne) {
    storeItem("gone");
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
    const Row rows[] = {{0, true},         {-25308, true},         {-25293, true},
                        {-25300, false},   {-34018, std::nullopt}, {-25299, std::nullopt},
                        {-4, std::nullopt}};
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
