#include "Storage/SecretStore.h"

#include "Support/FakeKeychainBackend.h"
#include "Support/InlineQueue.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::FakeKeychainBackend;
using test::sameBytes;
using test::secretBytes;
using Call = FakeKeychainBackend::Call;
using Context = std::shared_ptr<AuthenticationContext>;

const std::string entryText = "1E3F5A77-8B9C-4D2E-A1B2-C3D4E5F60718";
const Uuid entryID = *Uuid::parse("1e3f5a77-8b9c-4d2e-a1b2-c3d4e5f60718");

class SecretStoreTest : public testing::Test {
protected:
    // Runs one store call to its end and returns its error, if any.
    template <class T>
    std::optional<SecretStoreError> failureOf(Task<T> task) {
        try {
            test::runTask(executor, std::move(task));
        } catch (const SecretStoreError& error) {
            return error;
        }
        return std::nullopt;
    }
    // The rows every query starts from, plus `with`.
    static KeychainQuery baseQuery(Context with) {
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
    // Log lines that name the entry and `status`.
    long logged(KeychainStatus status) const {
        const auto lines = logs.messages();
        return std::ranges::count_if(lines, [&](const std::string& line) {
            return line.find(entryText) != line.npos &&
                   line.find("status " + std::to_string(status)) != line.npos;
        });
    }

    test::ManualExecutor executor;
    test::InlineQueue queue;
    FakeKeychainBackend backend;
    test::LogCapture logs;
    SecretStore store{backend, queue, "app.example.Test"};
    Context context = std::make_shared<test::FakeAuthenticationContext>();
};

TEST(SecretStoreErrorTest, StatusesMapToTheirCasesAndKeepThePlatformsText) {
    EXPECT_EQ(SecretStoreError::fromStatus(-25299, "x"), SecretStoreError::duplicateItem());
    EXPECT_EQ(SecretStoreError::fromStatus(-25300, std::nullopt), SecretStoreError::itemNotFound());
    EXPECT_EQ(SecretStoreError::fromStatus(-25308, "Not allowed."),
              SecretStoreError::keychain(-25308, "Not allowed."));
    for (const std::optional<std::string>& none : {std::optional<std::string>{}, {""}}) {
        EXPECT_EQ(SecretStoreError::fromStatus(-50, none).message(),
                  "Keychain operation failed with status -50.");
    }
    // An unsigned build says so, and still ends with the status and the platform's text.
    EXPECT_TRUE(SecretStoreError::fromStatus(-34018, "No entitlement.")
                    .description()
                    .ends_with("status -34018: No entitlement."));
}

// Each protected call sends the base query plus its own keys, from the queue, with prompts
// forbidden.
TEST_F(SecretStoreTest, EachCallSendsItsQueryFromTheQueue) {
    const auto expectSent = [&](Call call, const std::function<void(KeychainQuery&)>& ownKeys) {
        auto expected = baseQuery(context);
        ownKeys(expected);
        expectLastCall(call, expected);
    };
    test::runTask(executor, store.createSecret(secretBytes("new"), entryID, context));
    expectSent(Call::add, [](KeychainQuery& query) {
        query.accessControl = {KeychainAccessibility::whenUnlockedThisDeviceOnly,
                               KeychainAccessControlFlags::biometryCurrentSet};
        query.value = secretBytes("new");
    });
    test::runTask(executor, store.saveSecret(secretBytes("newer"), entryID, context));
    expectSent(Call::update, [](KeychainQuery&) {});
    EXPECT_TRUE(sameBytes(test::runTask(executor, store.readSecret(entryID, context)), "newer"));
    expectSent(Call::copyMatching, [](KeychainQuery& query) {
        query.matchLimit = KeychainMatchLimit::one;
        query.returnKind = KeychainReturnKind::data;
    });
    test::runTask(executor, store.deleteSecret(entryID, context));
    expectSent(Call::remove, [](KeychainQuery&) {});
    EXPECT_EQ(queue.dispatchCount, 5);
}

TEST_F(SecretStoreTest, AFailureIsLoggedOnceAndCarriesThePlatformsText) {
    backend.statusMessages[-25291] = "No keychain is available.";
    const auto expected = SecretStoreError::keychain(-25291, "No keychain is available.");
    item().value = secretBytes("old");
    backend.scriptStatus(-25291);
    EXPECT_EQ(failureOf(store.createSecret(secretBytes("x"), entryID, context)), expected);
    backend.scriptStatus(keychainStatus::duplicateItem);
    backend.scriptStatus(-25291);
    EXPECT_EQ(failureOf(store.saveSecret(secretBytes("x"), entryID, context)), expected);
    backend.scriptStatus(-25291);
    EXPECT_EQ(failureOf(store.readSecret(entryID, context)), expected);
    backend.scriptStatus(-25291);
    EXPECT_EQ(failureOf(store.deleteSecret(entryID, context)), expected);
    EXPECT_EQ(logged(-25291), 4) << "once per failure";
}

TEST_F(SecretStoreTest, DuplicatesMissingItemsAndBadRepliesMapToTheirErrors) {
    test::runTask(executor, store.saveSecret(secretBytes("first"), entryID, context));
    EXPECT_EQ(backend.received.size(), 1U) << "a new item is created, not updated";
    EXPECT_EQ(failureOf(store.createSecret(secretBytes("new"), entryID, context)),
              SecretStoreError::duplicateItem());
    EXPECT_EQ(logged(-25299), 1);
    EXPECT_TRUE(sameBytes(test::runTask(executor, store.readSecret(entryID, context)), "first"));

    for (const auto& text :
         {std::optional<std::string>("Bad flags."), std::optional<std::string>()}) {
        KeychainReply refusal;
        refusal.accessControlFailure = AccessControlFailure{text};
        backend.script(refusal);
        EXPECT_EQ(failureOf(store.createSecret(secretBytes("x"), entryID, context)),
                  SecretStoreError::accessControlCreationFailed(
                      text.value_or("The Keychain access control could not be created.")));
    }
    backend.scriptStatus(keychainStatus::success); // success without a byte buffer
    EXPECT_EQ(failureOf(store.readSecret(entryID, context)),
              SecretStoreError::keychain(-67671, "Keychain returned an invalid password value."));
    backend.items.clear();
    EXPECT_EQ(failureOf(store.deleteSecret(entryID, context)), SecretStoreError::itemNotFound());
    EXPECT_EQ(failureOf(store.readSecret(entryID, context)), SecretStoreError::itemNotFound());
}

// Without an approved context of the backend's own kind, nothing may reach the Keychain: left
// out of the query, it would let the Keychain prompt on its own.
TEST_F(SecretStoreTest, AMissingOrForeignContextIsRefused) {
    struct ForeignContext final : AuthenticationContext {
        void setInteractionNotAllowed(bool) override {}
        void invalidate() override {}
    };
    for (const Context& refused : {Context(), Context(std::make_shared<ForeignContext>())}) {
        SCOPED_TRACE(refused ? "foreign" : "none");
        for (auto failure : {failureOf(store.createSecret(secretBytes("x"), entryID, refused)),
                             failureOf(store.saveSecret(secretBytes("x"), entryID, refused)),
                             failureOf(store.readSecret(entryID, refused)),
                             failureOf(store.deleteSecret(entryID, refused))}) {
            EXPECT_EQ(failure, SecretStoreError::authenticationContextUnavailable());
        }
    }
    EXPECT_TRUE(backend.items.empty());
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
        EXPECT_EQ(logged(row.status), row.exists ? 0 : 1);

        auto expected = baseQuery(backend.madeContexts.back());
        expected.matchLimit = KeychainMatchLimit::one;
        expected.returnKind = KeychainReturnKind::attributes;
        expectLastCall(Call::copyMatching, expected);
        EXPECT_EQ(backend.madeContexts.back()->invalidationCount, 1);
    }
}

} // namespace
} // namespace kestrelle
