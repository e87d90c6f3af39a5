#include "Security/SecurePasswordService.h"

#include "Security/BiometricAuthenticationError.h"
#include "Security/SettingsTransactionError.h"
#include "Storage/SecretStore.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/InlineQueue.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualQueue.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using test::FakeKeychainBackend;
using test::FakePromptOutcome;
using test::sameBytes;
using test::secretBytes;
using test::TaskProbe;

// A catalog write that fails with a message of its own.
class CatalogWriteError : public KestrelleError {
public:
    CatalogWriteError() : KestrelleError("The catalog could not be written.") {}
};

class SecurePasswordServiceTest : public ::testing::Test {
protected:
    void TearDown() override {
        // Whatever happened, nothing may stay behind but what a test leaves on purpose.
        executor.runUntilIdle();
        EXPECT_FALSE(service.isGateHeld());
    }

    void storeItem(const Uuid& id, std::string_view password) {
        keychain.items[{store.service(), id.toString()}] = {secretBytes(password), std::nullopt};
    }
    bool itemHolds(const Uuid& id, std::string_view password) const {
        auto found = keychain.items.find({store.service(), id.toString()});
        return found != keychain.items.end() && sameBytes(found->second.value, password);
    }
    bool hasItem(const Uuid& id) const {
        return keychain.items.contains({store.service(), id.toString()});
    }

    InvocationSession begin(const Uuid& invocationID) {
        return test::runTask(executor, service.beginInvocation(invocationID));
    }
    ConsumedPassword consume(const InvocationSession& session, const Uuid& entryID) {
        return test::runTask(executor,
                             service.consumeSelectedEntry(session, entryID, PasswordAction::type));
    }
    SettingsAuthorization authorize(SettingsOperation operation) {
        return test::runTask(executor, service.authorizeSettings(operation));
    }
    static bool secretIs(const ConsumedPassword& consumed, std::string_view expected) {
        return consumed.secret->withUnsafeBytes([&](std::span<const std::uint8_t> bytes) {
            return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()) ==
                   expected;
        });
    }
    template <class Call>
    static std::string errorOf(Call&& call) {
        try {
            call();
        } catch (const KestrelleError& error) {
            return error.description();
        }
        return "no error";
    }
    std::size_t prompts() const { return factory.made.size(); }

    test::ManualExecutor executor;
    test::FakeBiometricContextFactory factory;
    FakeKeychainBackend keychain;
    test::InlineQueue queue;
    SecretStore store{keychain, queue};
    SecurePasswordService service{factory, store, executor};
    const Uuid entry = Uuid::random();
    const Uuid invocation = Uuid::random();
};

constexpr auto invalidSessionText = "This authorization is no longer valid. Start again.";
constexpr auto expiredText = "This authorization expired. Start again.";

TEST_F(SecurePasswordServiceTest, AnApprovalIsReusedInsideTheWindowOnly) {
    storeItem(entry, "hunter2");
    const auto first = begin(invocation);
    EXPECT_EQ(factory.last().reasons,
              (std::vector<std::string>{"Choose a saved password to type."}));
    EXPECT_EQ(first.expiresAt, executor.now() + 30s);
    EXPECT_TRUE(secretIs(consume(first, entry), "hunter2"));

    executor.advance(10s);
    const auto reused = begin(Uuid::random());
    EXPECT_EQ(prompts(), 1U);
    EXPECT_EQ(reused.expiresAt, first.expiresAt) << "not past the reuse window";
    EXPECT_TRUE(secretIs(consume(reused, entry), "hunter2"));

    // Reuse never renews the window: it counts from the prompt.
    executor.advance(21s);
    EXPECT_FALSE(service.hasReusableCredential()) << "the reuse timer prunes on its own";
    begin(Uuid::random());
    EXPECT_EQ(prompts(), 2U);
    service.cancelAll();
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

TEST_F(SecurePasswordServiceTest, ALongerWindowKeepsTheCredentialAndShorteningItEndsReuse) {
    service.setBiometricReuseWindow(300s);
    begin(invocation);
    executor.advance(60s);
    EXPECT_EQ(begin(Uuid::random()).expiresAt, executor.now() + 30s);
    EXPECT_EQ(prompts(), 1U);

    service.setBiometricReuseWindow(30s);
    begin(Uuid::random());
    EXPECT_EQ(prompts(), 2U);
    EXPECT_TRUE(factory.made[0]->invalidated);
}

TEST_F(SecurePasswordServiceTest, ASessionIsSpendableOnceAndOnlyWhileYoung) {
    storeItem(entry, "hunter2");
    auto session = begin(invocation);
    executor.advance(29900ms);
    EXPECT_TRUE(secretIs(consume(session, entry), "hunter2"));
    EXPECT_EQ(errorOf([&] { consume(session, entry); }), invalidSessionText);

    // The expiry timer drops an unspent record after 30 seconds.
    session = begin(Uuid::random());
    executor.advance(31s);
    EXPECT_EQ(service.liveRecordCount(), 0U);
    EXPECT_EQ(errorOf([&] { consume(session, entry); }), invalidSessionText);

    // Measured on the wall clock: a clock moved forward, or back, expires the approval.
    session = begin(Uuid::random());
    executor.shiftWallClock(31s);
    EXPECT_EQ(errorOf([&] { consume(session, entry); }), expiredText);
    session = begin(Uuid::random());
    executor.shiftWallClock(-1s);
    EXPECT_EQ(errorOf([&] { consume(session, entry); }), expiredText);
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

TEST_F(SecurePasswordServiceTest, AFailedReadDropsTheRecordAndForgetsTheCredential) {
    const auto session = begin(invocation);
    EXPECT_EQ(errorOf([&] { consume(session, entry); }),
              "The saved password is missing. Replace it in Settings.");
    EXPECT_EQ(service.liveRecordCount(), 0U);
    EXPECT_FALSE(service.hasReusableCredential());
    begin(Uuid::random());
    EXPECT_EQ(prompts(), 2U);
}

TEST_F(SecurePasswordServiceTest, UnusableBiometricsFailBeforeAnyPrompt) {
    factory.policy = {false, BiometryType::touchID, BiometricErrorCode::biometryNotEnrolled};
    EXPECT_EQ(errorOf([&] { begin(invocation); }),
              "Set up Touch ID or Face ID in System Settings before using passwords.");
    EXPECT_TRUE(factory.last().reasons.empty());
    EXPECT_TRUE(factory.last().invalidated);
    EXPECT_EQ(service.availability(), BiometricAvailability::notEnrolled());
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

class PromptUpTest : public SecurePasswordServiceTest {
protected:
    void SetUp() override {
        factory.outcome = FakePromptOutcome::hold;
        executor.runUntilIdle();
    }
};

TEST_F(PromptUpTest, CancellingTheInvocationDismissesItsPrompt) {
    TaskProbe<InvocationSession> probe(executor, service.beginInvocation(invocation));
    executor.runUntilIdle();
    ASSERT_TRUE(factory.last().isPromptUp());
    service.cancelInvocation(invocation);
    executor.runUntilIdle();
    EXPECT_TRUE(probe.threw<BiometricAuthenticationError>());
    EXPECT_FALSE(factory.last().isPromptUp());
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

TEST_F(PromptUpTest, AnApprovalArrivingAfterACancellationIsRefused) {
    for (auto cancel : {+[](SecurePasswordService&s, Uuid id) { s.cancelInvocation(id); },
                        +[](SecurePasswordService&s, Uuid) { s.cancelAll(); },
                        +[](SecurePasswordService&s, Uuid) { s.forgetReusableCredential(); }}) {
        TaskProbe<InvocationSession> probe(executor, service.beginInvocation(invocation));
        executor.runUntilIdle();
        factory.last().approvePrompt(); // the reply is on its way
        cancel(service, invocation);
        executor.runUntilIdle();
        ASSERT_TRUE(probe.threw<BiometricAuthenticationError>());
        EXPECT_EQ(errorOf([&] { std::rethrow_exception(probe.error()); }),
                  "Biometric authentication was cancelled.");
        EXPECT_TRUE(factory.last().invalidated);
        EXPECT_FALSE(service.hasReusableCredential());
        EXPECT_EQ(service.liveRecordCount(), 0U);
    }
}

TEST_F(PromptUpTest, ANewerInvocationWaitsForTheGateAndTheOldOneEndsCancelled) {
    TaskProbe<InvocationSession> older(executor, service.beginInvocation(invocation));
    executor.runUntilIdle();
    const auto newer = Uuid::random();
    TaskProbe<InvocationSession> newerProbe(executor, service.beginInvocation(newer));
    executor.runUntilIdle();
    EXPECT_EQ(prompts(), 1U) << "one prompt at a time";

    service.cancelInvocation(invocation);
    executor.runUntilIdle();
    EXPECT_TRUE(older.threw<BiometricAuthenticationError>());
    ASSERT_EQ(prompts(), 2U);
    factory.last().approvePrompt();
    executor.runUntilIdle();
    ASSERT_TRUE(newerProbe.succeeded());
    EXPECT_EQ(newerProbe.value().invocationID, newer);
}

TEST_F(PromptUpTest, AnInvocationCancelledWhileWaitingForTheGateShowsNoPrompt) {
    TaskProbe<SettingsAuthorization> settings(
        executor, service.authorizeSettings(SettingsOperation::catalogMutation()));
    TaskProbe<InvocationSession> waiting(executor, service.beginInvocation(invocation));
    executor.runUntilIdle();
    ASSERT_EQ(prompts(), 1U);
    service.cancelAll(); // dismisses the settings prompt; the invocation never prompts
    executor.runUntilIdle();
    EXPECT_TRUE(settings.threw<BiometricAuthenticationError>());
    EXPECT_TRUE(waiting.threw<BiometricAuthenticationError>());
    EXPECT_EQ(prompts(), 1U);

    TaskProbe<InvocationSession> cancelledFirst(executor, service.beginInvocation(invocation));
    cancelledFirst.cancel();
    executor.runUntilIdle();
    EXPECT_TRUE(cancelledFirst.threw<BiometricAuthenticationError>());
    EXPECT_EQ(prompts(), 1U);
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

TEST_F(PromptUpTest, CancelAllDismissesASettingsPrompt) {
    TaskProbe<SettingsAuthorization> probe(
        executor, service.authorizeSettings(SettingsOperation::catalogMutation()));
    executor.runUntilIdle();
    EXPECT_EQ(factory.last().reasons,
              (std::vector<std::string>{"Authorize this password settings change."}));
    service.cancelAll();
    executor.runUntilIdle();
    EXPECT_TRUE(probe.threw<BiometricAuthenticationError>());
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

class SettingsTransactionTest : public SecurePasswordServiceTest {
protected:
    // A commit that fails `failures` times, recording whether the gate was held meanwhile.
    SecurePasswordService::MetadataCommit commit(int failures = 0) {
        return [this, failures]() -> Task<void> { return runCommit(failures); };
    }
    Task<void> runCommit(int failures) {
        ++commits;
        gateHeldDuringCommit = service.isGateHeld();
        if (commits <= failures) {
            throw CatalogWriteError();
        }
        co_return;
    }
    template <class Operation>
    std::string run(Operation operation) {
        return errorOf([&] { test::runTask(executor, operation()); });
    }

    int commits = 0;
    bool gateHeldDuringCommit = false;
};

TEST_F(SettingsTransactionTest, AddCreatesAProtectedItemThenCommitsUnderTheGate) {
    auto authorization = authorize(SettingsOperation::addSecret(entry));
    EXPECT_EQ(run([&] {
                  return service.addSecret(secretBytes("s3cret"), entry, authorization, commit());
              }),
              "no error");
    EXPECT_TRUE(itemHolds(entry, "s3cret"));
    EXPECT_TRUE(keychain.items.begin()->second.accessControl.has_value());
    EXPECT_EQ(commits, 1);
    EXPECT_TRUE(gateHeldDuringCommit);
    EXPECT_EQ(service.liveRecordCount(), 0U);
    EXPECT_TRUE(factory.last().invalidated);
}

TEST_F(SettingsTransactionTest, AFailedCommitUndoesTheKeychainStepWithTheStillValidApproval) {
    auto authorization = authorize(SettingsOperation::addSecret(entry));
    EXPECT_EQ(
        run([&] { return service.addSecret(secretBytes("new"), entry, authorization, commit(1)); }),
        "The catalog could not be written.");
    EXPECT_FALSE(hasItem(entry));

    storeItem(entry, "old");
    authorization = authorize(SettingsOperation::replaceSecret(entry));
    EXPECT_EQ(run([&] {
                  return service.replaceSecret(secretBytes("new"), entry, authorization, commit(2));
              }),
              "The catalog could not be written.");
    EXPECT_TRUE(itemHolds(entry, "old"));

    keychain.items.clear();
    authorization = authorize(SettingsOperation::repairSecret(entry));
    EXPECT_EQ(run([&] {
                  return service.repairSecret(secretBytes("new"), entry, authorization, commit(3));
              }),
              "The catalog could not be written.");
    EXPECT_FALSE(hasItem(entry));
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

TEST_F(SettingsTransactionTest, ACommitAndRollbackThatBothFailReportBoth) {
    keychain.statusMessages[-25291] = "No keychain is available.";
    auto authorization = authorize(SettingsOperation::addSecret(entry));
    keychain.script({});           // the create succeeds
    keychain.scriptStatus(-25291); // the delete that should undo it fails
    EXPECT_EQ(
        run([&] { return service.addSecret(secretBytes("new"), entry, authorization, commit(1)); }),
        "The password change could not be recorded, and cleanup also failed. "
        "Metadata: The catalog could not be written. The Keychain operation failed (status "
        "-25291): No keychain is available.");
}

TEST_F(SettingsTransactionTest, ReplacingAMissingItemChangesNothing) {
    auto authorization = authorize(SettingsOperation::replaceSecret(entry));
    EXPECT_EQ(run([&] {
                  return service.replaceSecret(secretBytes("new"), entry, authorization, commit());
              }),
              "The saved password is missing. Replace it in Settings.");
    EXPECT_FALSE(hasItem(entry));
    EXPECT_EQ(commits, 0);
}

TEST_F(SettingsTransactionTest, AnApprovalServesExactlyItsOperationOnce) {
    const auto other = Uuid::random();
    storeItem(entry, "old");
    auto authorization = authorize(SettingsOperation::replaceSecret(entry));
    EXPECT_EQ(run([&] {
                  return service.replaceSecret(secretBytes("x"), other, authorization, commit());
              }),
              invalidSessionText);
    EXPECT_EQ(service.liveRecordCount(), 0U);

    authorization = authorize(SettingsOperation::deleteSecret(entry));
    EXPECT_EQ(run([&] { return service.deleteSecret(entry, authorization); }), "no error");
    EXPECT_FALSE(hasItem(entry));
    EXPECT_EQ(run([&] { return service.deleteSecret(entry, authorization); }), invalidSessionText);

    authorization = authorize(SettingsOperation::catalogMutation());
    executor.advance(31s);
    EXPECT_EQ(run([&] { return service.consumeCatalogMutationAuthorization(authorization); }),
              invalidSessionText);
    authorization = authorize(SettingsOperation::catalogMutation());
    EXPECT_EQ(run([&] { return service.consumeCatalogMutationAuthorization(authorization); }),
              "no error");
    service.cancelSettingsAuthorization(authorize(SettingsOperation::catalogMutation()));
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

TEST_F(SettingsTransactionTest, ASettingsAuthorizationEndsReuseAndDropsInvocations) {
    const auto session = begin(invocation);
    EXPECT_TRUE(service.hasReusableCredential());
    authorize(SettingsOperation::catalogMutation());
    EXPECT_FALSE(service.hasReusableCredential());
    EXPECT_EQ(errorOf([&] { consume(session, entry); }), invalidSessionText);
    begin(Uuid::random());
    EXPECT_EQ(prompts(), 3U);
}

TEST_F(SettingsTransactionTest, ExistenceChecksNeverPrompt) {
    storeItem(entry, "x");
    EXPECT_TRUE(test::runTask(executor, service.containsSecret(entry)));
    EXPECT_FALSE(test::runTask(executor, service.containsSecret(Uuid::random())));
    EXPECT_EQ(prompts(), 0U);
}

TEST_F(SettingsTransactionTest, AKeychainStepFinishingAfterACancellationIsUndone) {
    test::ManualQueue slowQueue;
    SecretStore slowStore{keychain, slowQueue};
    SecurePasswordService slowService{factory, slowStore, executor};
    storeItem(entry, "old");
    const auto authorization = test::runTask(
        executor, slowService.authorizeSettings(SettingsOperation::replaceSecret(entry)));
    TaskProbe<void> replace(
        executor, slowService.replaceSecret(secretBytes("new"), entry, authorization, commit()));
    executor.runUntilIdle();
    slowQueue.runAll(); // the old value is read
    executor.runUntilIdle();
    ASSERT_EQ(slowQueue.pendingCount(), 1U) << "the new value is being written";
    slowService.cancelAll();
    while (slowQueue.runAll() > 0) {
        executor.runUntilIdle();
    }
    EXPECT_EQ(errorOf([&] { std::rethrow_exception(replace.error()); }), invalidSessionText);
    EXPECT_TRUE(itemHolds(entry, "old"));
    EXPECT_EQ(commits, 0);
    EXPECT_FALSE(slowService.isGateHeld());
}

TEST_F(SettingsTransactionTest, NoLogLineCarriesAPassword) {
    test::LogCapture log;
    storeItem(entry, "old-secret");
    auto authorization = authorize(SettingsOperation::replaceSecret(entry));
    run([&] {
        return service.replaceSecret(secretBytes("new-secret"), entry, authorization, commit(1));
    });
    const auto other = Uuid::random();
    authorization = authorize(SettingsOperation::addSecret(other));
    keychain.scriptStatus(-25291);
    run([&] {
        return service.addSecret(secretBytes("added-secret"), other, authorization, commit());
    });
    consume(begin(invocation), entry);
    errorOf([&] { consume(begin(Uuid::random()), Uuid::random()); });

    const auto records = log.records();
    ASSERT_GE(records.size(), 2U);
    for (const auto& record : records) {
        for (const char* secret : {"old-secret", "new-secret", "added-secret"}) {
            EXPECT_EQ(record.message.find(secret), std::string::npos);
        }
    }
}

} // namespace
} // namespace kestrelle
