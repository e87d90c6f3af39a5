#include "Storage/SecretStore.h"

#include "Support/FakeKeychainBackend.h"
#include "Support/InlineQueue.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::secretBytes;
using Call = test::FakeKeychainBackend::Call;
using Context = std::shared_ptr<AuthenticationContext>;
using Failure = std::optional<SecretStoreError>;

const std::string entryText = "1E3F5A77-8B9C-4D2E-A1B2-C3D4E5F60718";
const Uuid entryID = *Uuid::parse("1e3f5a77-8b9c-4d2e-a1b2-c3d4e5f60718");

class SecretStoreTest : public testing::Test {
protected:
    // Runs one store call to its end and returns its error, if any.
    template <class T>
    Failure failureOf(Task<T> task) {
        try {
            test::runTask(executor, std::move(task));
        } catch (const SecretStoreError& error) {
            return error;
        }
        return std::nullopt;
    }
    // That the last call was `call` with the query every call starts from, carrying `with`,
    // plus what `own` adds, sent with prompts forbidden.
    void expectLastCall(
        Call call, Context with,
        const std::function<void(KeychainQuery&)>& own = [](KeychainQuery&) {}) {
        KeychainQuery expected;
        expected.service = "app.example.Test.passwords";
        expected.account = entryText;
        expected.authenticationContext = std::move(with);
        own(expected);
        ASSERT_FALSE(backend.received.empty());
        EXPECT_EQ(backend.received.back().call, call);
        EXPECT_TRUE(backend.received.back().query == expected);
        EXPECT_TRUE(backend.received.back().interactionNotAllowed);
    }
    static std::function<void(KeychainQuery&)> oneItem(KeychainReturnKind kind) {
        return [kind](KeychainQuery& query) {
            query.matchLimit = KeychainMatchLimit::one;
            query.returnKind = kind;
        };
    }
    // Log lines that name the entry and `status`.
    long logged(KeychainStatus status) const {
        return std::ranges::count_if(logs.messages(), [&](const std::string& line) {
            return line.find(entryText) != line.npos &&
                   line.find("status " + std::to_string(status)) != line.npos;
        });
    }

    test::ManualExecutor executor;
    test::InlineQueue queue;
    test::FakeKeychainBackend backend;
    test::LogCapture logs;
    SecretStore store{backend, queue, "app.example.Test"};
    Context context = std::make_shared<test::FakeAuthenticationContext>();
    // Create, save, read and delete with `context`.
    const std::function<Failure()> calls[4] = {
        [this] { return failureOf(store.createSecret(secretBytes("x"), entryID, context)); },
        [this] { return failureOf(store.saveSecret(secretBytes("x"), entryID, context)); },
        [this] { return failureOf(store.readSecret(entryID, context)); },
        [this] { return failureOf(store.deleteSecret(entryID, context)); }};
};

// Each protected call sends the base query plus its own keys, from the queue, with prompts
// forbidden.
TEST_F(SecretStoreTest, EachCallSendsItsQueryFromTheQueue) {
    test::runTask(executor, store.createSecret(secretBytes("new"), entryID, context));
    expectLastCall(Call::add, context, [](KeychainQuery& query) {
        query.accessControl = {KeychainAccessibility::whenUnlockedThisDeviceOnly,
                               KeychainAccessControlFlags::biometryCurrentSet};
        query.value = secretBytes("new");
    });
    test::runTask(executor, store.saveSecret(secretBytes("newer"), entryID, context));
    expectLastCall(Call::update, context);
    EXPECT_TRUE(
        test::sameBytes(test::runTask(executor, store.readSecret(entryID, context)), "newer"));
    expectLastCall(Call::copyMatching, context, oneItem(KeychainReturnKind::data));
    test::runTask(executor, store.deleteSecret(entryID, context));
    expectLastCall(Call::remove, context);
    EXPECT_EQ(queue.dispatchCount, 5);
}

TEST_F(SecretStoreTest, FailuresKeepTheStatusAndThePlatformsTextAndAreLoggedOnce) {
    const auto& [create, save, read, remove] = calls;
    EXPECT_EQ(save(), std::nullopt);
    EXPECT_EQ(backend.received.size(), 1U) << "a new item is created, not updated";
    EXPECT_EQ(create(), SecretStoreError::duplicateItem());
    backend.statusMessages[-25291] = "Not allowed.";
    for (const auto& call : calls) {
        if (&call == &save) {
            backend.scriptStatus(keychainStatus::duplicateItem); // so that it updates
        }
        backend.scriptStatus(-25291);
        EXPECT_EQ(call(), SecretStoreError::keychain(-25291, "Not allowed."));
    }
    EXPECT_EQ(logged(-25291), 4) << "once per failure";
    // Without the platform's text, the status still says what failed.
    backend.statusMessages[-50] = "";
    backend.scriptStatus(-50);
    EXPECT_NE(read().value_or(SecretStoreError::itemNotFound()).message().find("-50"),
              std::string::npos);
    KeychainReply refusal;
    refusal.accessControlFailure = AccessControlFailure{"Bad flags."};
    backend.script(refusal);
    EXPECT_EQ(create(), SecretStoreError::accessControlCreationFailed("Bad flags."));
    backend.scriptStatus(keychainStatus::success); // success without a byte buffer
    EXPECT_EQ(read().value_or(SecretStoreError::itemNotFound()).status(),
              keychainStatus::invalidValue);
    backend.items.clear();
    EXPECT_EQ(remove(), SecretStoreError::itemNotFound());
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
        context = refused;
        for (const auto& call : calls) {
            EXPECT_EQ(call(), SecretStoreError::authenticationContextUnavailable());
        }
    }
    EXPECT_TRUE(backend.items.empty());
}

TEST_F(SecretStoreTest, ContainsAsksWithAFreshContextThatCannotPromptAndInvalidatesIt) {
    struct Row {
        KeychainStatus status;
        std::optional<bool> exists; // none: the check fails
    };
    const Row rows[] = {{0, true}, {-25308, true}, {-25300, false}, {-34018, std::nullopt}};
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
        expectLastCall(Call::copyMatching, backend.madeContexts.back(),
                       oneItem(KeychainReturnKind::attributes));
        EXPECT_EQ(backend.madeContexts.back()->invalidationCount, 1);
    }
}

} // namespace
} // namespace kestrelle
