#include "Security/SecurePasswordService.h"

#include "Security/BiometricAuthenticationError.h"
#include "Security/SettingsTransactionError.h"
#include "Storage/SecretStore.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualQueue.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using test::FakePromptOutcome;
using test::secretBytes;
using test::TaskProbe;
using Error = BiometricAuthenticationError;
using Kind = SettingsOperation::Kind;

const std::string ok = "ok";
const std::string cancelled = Error::cancelled().description();
const std::string invalidSession = Error::invalidSession().description();
const std::string expired = Error::expired().description();

class CatalogWriteError : public KestrelleError {
public:
    CatalogWriteError() : KestrelleError("The catalog could not be written.") {}
};

// How a probed task ended: "ok", "running", or what it threw.
template <class T>
std::string outcome(const TaskProbe<T>& probe) {
    if (!probe.finished()) {
        return "running";
    }
    if (!probe.error()) {
        return ok;
    }
    try {
        std::rethrow_exception(probe.error());
    } catch (const KestrelleError& error) {
        return error.description();
    } catch (const std::exception& other) {
        return other.what();
    }
}

template <class T>
Task<void> discard(Task<T> task) {
    co_await std::move(task);
}

class SecurePasswordServiceTest : public ::testing::Test {
protected:
    void TearDown() override {
        // Whatever happened, nothing may stay behind but what a test leaves on purpose.
        holdKeychain = false;
        settle();
        EXPECT_FALSE(service.isGateHeld());
    }

    // Runs the executor and, unless held, the Keychain calls, until nothing is left.
    void settle() {
        do {
            executor.runUntilIdle();
        } while (!holdKeychain && queue.runAll() > 0);
    }
    // Lets exactly the pending Keychain call finish.
    void finishKeychainCall() {
        queue.runAll();
        executor.runUntilIdle();
    }
    template <class T>
    TaskProbe<T> start(Task<T> task) {
        TaskProbe<T> probe(executor, std::move(task));
        settle();
        return probe;
    }
    template <class T>
    std::string run(Task<T> task) {
        return outcome(start(std::move(task)));
    }
    template <class T>
    T value(Task<T> task) {
        auto probe = start(std::move(task));
        EXPECT_EQ(outcome(probe), ok);
        return probe.value();
    }
    InvocationSession begin(Uuid invocationID = Uuid::random()) {
        return value(service.beginInvocation(invocationID));
    }
    Task<ConsumedPassword> consume(const InvocationSession& session) {
        return service.consumeSelectedEntry(session, entry, PasswordAction::type);
    }
    SettingsAuthorization authorize(SettingsOperation operation) {
        return value(service.authorizeSettings(operation));
    }

    void storeItem(std::string_view password) {
        keychain.items[{store.service(), entry.toString()}] = {secretBytes(password), {}};
    }
    // Whether the entry's item holds `password`, or is missing when none is given.
    bool itemIs(std::optional<std::string_view> password) const {
        const auto found = keychain.items.find({store.service(), entry.toString()});
        return found == keychain.items.end()
                   ? !password
                   : password && test::sameBytes(found->second.value, *password);
    }
    std::size_t prompts() const { return factory.made.size(); }

    test::ManualExecutor executor;
    test::FakeBiometricContextFactory factory;
    test::FakeKeychainBackend keychain;
    test::ManualQueue queue;
    bool holdKeychain = false;
    SecretStore store{keychain, queue};
    SecurePasswordService service{factory, store, executor};
    const Uuid entry = Uuid::random();
};

TEST_F(SecurePasswordServiceTest, AnApprovalIsReusedInsideTheWindowOnly) {
    storeItem("hunter2");
    const auto first = begin();
    EXPECT_EQ(factory.last().reasons, std::vector<std::string>{"Choose a saved password to type."});
    EXPECT_EQ(first.expiresAt, executor.now() + 30s);
    EXPECT_EQ(run(consume(first)), ok);

    executor.advance(10s);
    const auto reused = begin();
    EXPECT_EQ(prompts(), 1U);
    EXPECT_EQ(reused.expiresAt, first.expiresAt) << "not past the reuse window";
    const auto password = value(consume(reused));
    EXPECT_TRUE(password.secret->withUnsafeBytes(
        [](auto bytes) { return test::sameBytes(bytes, "hunter2"); }));

    // Reuse never renews the window: it counts from the prompt.
    executor.advance(21s);
    EXPECT_FALSE(service.hasReusableCredential()) << "the reuse timer prunes on its own";
    begin();
    EXPECT_EQ(prompts(), 2U);

    // A longer window keeps the credential; shortening it ends reuse at the next prune.
    service.setBiometricReuseWindow(300s);
    executor.advance(60s);
    EXPECT_EQ(begin().expiresAt, executor.now() + 30s);
    EXPECT_EQ(prompts(), 2U);
    service.setBiometricReuseWindow(30s);
    begin();
    EXPECT_EQ(prompts(), 3U);
    EXPECT_TRUE(factory.made[1]->invalidated);
}

TEST_F(SecurePasswordServiceTest, ASessionIsSpendableOnceAndOnlyWhileYoung) {
    storeItem("hunter2");
    auto session = begin();
    executor.advance(29900ms);
    EXPECT_EQ(run(consume(session)), ok);
    EXPECT_EQ(run(consume(session)), invalidSession);

    // The expiry timer drops an unspent record after 30 seconds.
    session = begin();
    executor.advance(31s);
    EXPECT_EQ(service.liveRecordCount(), 0U);
    EXPECT_EQ(run(consume(session)), invalidSession);

    // Measured on the wall clock: a clock moved forward, or back, expires the approval.
    for (auto shift : {31s, -1s}) {
        session = begin();
        executor.shiftWallClock(shift);
        EXPECT_EQ(run(consume(session)), expired);
    }
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

TEST_F(SecurePasswordServiceTest, AFailedReadDropsTheRecordAndForgetsTheCredential) {
    EXPECT_EQ(run(consume(begin())), SecretStoreError::itemNotFound().description());
    EXPECT_EQ(service.liveRecordCount(), 0U);
    EXPECT_FALSE(service.hasReusableCredential());
    begin();
    EXPECT_EQ(prompts(), 2U);
}

// An approval withdrawn under a spend (the reuse window ended, the screen locked, the approval
// aged out while the Keychain read ran) makes the Keychain refuse the read. That is the
// service's own refusal, not a Keychain failure to show the user.
TEST_F(SecurePasswordServiceTest, ASpendWhoseApprovalWasWithdrawnEndsAsTheServicesRefusal) {
    storeItem("hunter2");
    const auto spend = [&](const InvocationSession& session, const std::function<void()>& during) {
        holdKeychain = true;
        auto probe = start(consume(session));
        during();
        holdKeychain = false;
        settle();
        EXPECT_EQ(service.liveRecordCount(), 0U);
        return outcome(probe);
    };
    service.setBiometricReuseWindow(300s);
    begin();
    executor.advance(299s);
    const auto reused = begin();
    executor.advance(2s);
    EXPECT_EQ(spend(reused, [] {}), invalidSession) << "the reuse window ended";
    service.setBiometricReuseWindow(30s);

    auto session = begin();
    service.forgetReusableCredential();
    EXPECT_EQ(spend(session, [] {}), invalidSession) << "the screen locked";
    EXPECT_EQ(spend(begin(), [&] { service.forgetReusableCredential(); }), invalidSession)
        << "the screen locked during the read";

    session = begin();
    executor.advance(29s);
    EXPECT_EQ(spend(session, [&] { executor.advance(2s); }), expired)
        << "picked at 29 s, read until 31 s";
}

TEST_F(SecurePasswordServiceTest, UnusableBiometricsFailBeforeAnyPrompt) {
    factory.policy = {false, BiometryType::touchID, BiometricErrorCode::biometryNotEnrolled};
    EXPECT_EQ(run(service.beginInvocation(Uuid::random())),
              Error::unavailable(BiometricAvailability::notEnrolled()).description());
    EXPECT_TRUE(factory.last().reasons.empty());
    EXPECT_TRUE(factory.last().invalidated);
    EXPECT_EQ(service.availability(), BiometricAvailability::notEnrolled());
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

class PromptUpTest : public SecurePasswordServiceTest {
protected:
    void SetUp() override { factory.outcome = FakePromptOutcome::hold; }
};

TEST_F(PromptUpTest, ACancellationWhileThePromptIsUpEndsItCancelledEvenIfApproved) {
    struct Row {
        const char* name;
        void (*cancel)(SecurePasswordService&, Uuid invocationID);
        bool dismissesThePrompt; // a screen lock leaves it to the user
    };
    const Row rows[] = {
        {"cancelInvocation", [](auto& s, Uuid id) { s.cancelInvocation(id); }, true},
        {"cancelAll", [](auto& s, Uuid) { s.cancelAll(); }, true},
        {"forgetReusableCredential", [](auto& s, Uuid) { s.forgetReusableCredential(); }, false},
    };
    for (const auto& row : rows) {
        for (bool approvedFirst : {false, true}) {
            SCOPED_TRACE(testing::Message() << row.name << ", approved first: " << approvedFirst);
            const auto invocation = Uuid::random();
            auto probe = start(service.beginInvocation(invocation));
            ASSERT_TRUE(factory.last().isPromptUp());
            if (approvedFirst) {
                factory.last().approvePrompt(); // the reply is on its way
            }
            row.cancel(service, invocation);
            EXPECT_EQ(factory.last().isPromptUp(), !approvedFirst && !row.dismissesThePrompt);
            if (factory.last().isPromptUp()) {
                factory.last().approvePrompt();
            }
            settle();
            EXPECT_EQ(outcome(probe), cancelled);
            EXPECT_TRUE(factory.last().invalidated);
            EXPECT_FALSE(service.hasReusableCredential());
            EXPECT_EQ(service.liveRecordCount(), 0U);
        }
    }
}

TEST_F(PromptUpTest, ASettingsPromptEndsCancelledWhenEverythingIsCancelledOrTheScreenLocks) {
    auto probe = start(service.authorizeSettings(SettingsOperation::catalogMutation()));
    EXPECT_EQ(factory.last().reasons,
              std::vector<std::string>{"Authorize this password settings change."});
    service.cancelAll();
    settle();
    EXPECT_EQ(outcome(probe), cancelled);

    probe = start(service.authorizeSettings(SettingsOperation::catalogMutation()));
    service.forgetReusableCredential();
    factory.last().approvePrompt();
    settle();
    EXPECT_EQ(outcome(probe), cancelled);
    EXPECT_TRUE(factory.last().invalidated);
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

// An invocation cancelled while it waits for the gate has no record yet; once it gets the gate
// it must neither prompt nor take over the approval that the operation ahead of it left.
TEST_F(PromptUpTest, AnInvocationCancelledWhileWaitingForTheGateNeitherPromptsNorReuses) {
    enum class Cancel { invocation, task, all };
    for (bool behindSettings : {true, false}) {
        for (auto how : {Cancel::invocation, Cancel::task, Cancel::all}) {
            SCOPED_TRACE(testing::Message() << "behind settings: " << behindSettings
                                            << ", cancel: " << static_cast<int>(how));
            factory.made.clear();
            auto ahead =
                start(behindSettings
                          ? discard(service.authorizeSettings(SettingsOperation::catalogMutation()))
                          : discard(service.beginInvocation(Uuid::random())));
            const auto waiter = Uuid::random();
            auto waiting = start(service.beginInvocation(waiter));
            ASSERT_EQ(prompts(), 1U) << "one prompt at a time";

            if (how == Cancel::invocation) {
                service.cancelInvocation(waiter);
            } else if (how == Cancel::task) {
                waiting.cancel();
            } else {
                service.cancelAll();
            }
            if (factory.last().isPromptUp()) {
                factory.last().approvePrompt();
            }
            settle();
            EXPECT_EQ(outcome(waiting), cancelled);
            EXPECT_EQ(prompts(), 1U);
            const bool aheadStands = how != Cancel::all;
            EXPECT_EQ(outcome(ahead), aheadStands ? ok : cancelled);
            EXPECT_EQ(service.liveRecordCount(), aheadStands ? 1U : 0U)
                << "the approval ahead is still the one to spend";
            service.cancelAll();
        }
    }
}

TEST_F(PromptUpTest, ANewerInvocationWaitsForTheGateThenPrompts) {
    auto older = start(service.beginInvocation(Uuid::random()));
    const auto newer = Uuid::random();
    auto newerProbe = start(service.beginInvocation(newer));
    factory.last().failPrompt(BiometricErrorCode::userCancel);
    settle();
    EXPECT_EQ(outcome(older), cancelled);
    ASSERT_EQ(prompts(), 2U);
    factory.last().approvePrompt();
    settle();
    ASSERT_EQ(outcome(newerProbe), ok);
    EXPECT_EQ(newerProbe.value().invocationID, newer);
}

class SettingsTransactionTest : public SecurePasswordServiceTest {
protected:
    // A commit that throws `failure` when one is given, noting whether the gate was held.
    SecurePasswordService::MetadataCommit commit(std::exception_ptr failure = nullptr) {
        return [this, failure]() -> Task<void> { return runCommit(failure); };
    }
    Task<void> runCommit(std::exception_ptr failure) {
        ++commits;
        gateHeldDuringCommit = service.isGateHeld();
        if (failure) {
            std::rethrow_exception(failure);
        }
        co_return;
    }
    static SettingsOperation operation(Kind kind, const Uuid& entryID) {
        switch (kind) {
        case Kind::addSecret:
            return SettingsOperation::addSecret(entryID);
        case Kind::replaceSecret:
            return SettingsOperation::replaceSecret(entryID);
        case Kind::repairSecret:
            return SettingsOperation::repairSecret(entryID);
        case Kind::deleteSecret:
            return SettingsOperation::deleteSecret(entryID);
        case Kind::catalogMutation:
            break;
        }
        return SettingsOperation::catalogMutation();
    }
    // Spends `authorization` on a change of `kind` to the entry.
    Task<void> change(Kind kind, SettingsAuthorization authorization,
                      SecurePasswordService::MetadataCommit commitMetadata) {
        switch (kind) {
        case Kind::addSecret:
            return service.addSecret(secretBytes("new"), entry, authorization, commitMetadata);
        case Kind::replaceSecret:
            return service.replaceSecret(secretBytes("new"), entry, authorization, commitMetadata);
        case Kind::repairSecret:
            return service.repairSecret(secretBytes("new"), entry, authorization, commitMetadata);
        case Kind::deleteSecret:
            return service.deleteSecret(entry, authorization);
        case Kind::catalogMutation:
            break;
        }
        return service.consumeCatalogMutationAuthorization(authorization);
    }
    Task<void> change(Kind kind, SecurePasswordService::MetadataCommit commitMetadata = {}) {
        return change(kind, authorize(operation(kind, entry)),
                      commitMetadata ? std::move(commitMetadata) : commit());
    }
    // Stores the item a change of `kind` starts from, and returns its value.
    std::optional<std::string_view> prepare(Kind kind) {
        keychain.items.clear();
        commits = 0;
        gateHeldDuringCommit = false;
        if (kind != Kind::replaceSecret && kind != Kind::deleteSecret) {
            return std::nullopt;
        }
        storeItem("old");
        return "old";
    }

    int commits = 0;
    bool gateHeldDuringCommit = false;
};

TEST_F(SettingsTransactionTest, EachChangeDoesItsKeychainStepThenCommitsUnderTheGate) {
    const std::pair<Kind, std::optional<std::string_view>> rows[] = {
        {Kind::addSecret, "new"},
        {Kind::replaceSecret, "new"},
        {Kind::repairSecret, "new"},
        {Kind::deleteSecret, std::nullopt}};
    for (const auto& [kind, after] : rows) {
        SCOPED_TRACE(static_cast<int>(kind));
        prepare(kind);
        EXPECT_EQ(run(change(kind)), ok);
        EXPECT_TRUE(itemIs(after));
        EXPECT_EQ(commits, kind == Kind::deleteSecret ? 0 : 1);
        EXPECT_EQ(gateHeldDuringCommit, commits == 1);
        EXPECT_EQ(service.liveRecordCount(), 0U);
        EXPECT_TRUE(factory.last().invalidated);
    }
    EXPECT_EQ(keychain.items.size(), 0U);
    prepare(Kind::addSecret);
    EXPECT_EQ(run(change(Kind::addSecret)), ok);
    EXPECT_TRUE(keychain.items.begin()->second.accessControl.has_value());
    // Replacing a missing item changes nothing.
    prepare(Kind::repairSecret);
    EXPECT_EQ(run(change(Kind::replaceSecret)), SecretStoreError::itemNotFound().description());
    EXPECT_TRUE(itemIs(std::nullopt));
    EXPECT_EQ(commits, 0);
}

// A commit that fails, also by being cancelled, undoes the Keychain step with the approval that
// is still valid, and its error passes through.
TEST_F(SettingsTransactionTest, AFailedOrCancelledCommitUndoesTheKeychainStep) {
    const std::pair<std::exception_ptr, std::string> failures[] = {
        {std::make_exception_ptr(CatalogWriteError()), CatalogWriteError().description()},
        {std::make_exception_ptr(CancelledError()), CancelledError().what()}};
    for (const auto& [failure, expected] : failures) {
        for (auto kind : {Kind::addSecret, Kind::replaceSecret, Kind::repairSecret}) {
            SCOPED_TRACE(testing::Message() << expected << ", kind: " << static_cast<int>(kind));
            const auto before = prepare(kind);
            EXPECT_EQ(run(change(kind, commit(failure))), expected);
            EXPECT_TRUE(itemIs(before));
            EXPECT_EQ(commits, 1);
            EXPECT_EQ(service.liveRecordCount(), 0U);
        }
    }
}

TEST_F(SettingsTransactionTest, ACommitAndRollbackThatBothFailReportBoth) {
    keychain.statusMessages[-25291] = "No keychain is available.";
    prepare(Kind::addSecret);
    keychain.script({});           // the create succeeds
    keychain.scriptStatus(-25291); // the delete that should undo it fails
    auto probe =
        start(change(Kind::addSecret, commit(std::make_exception_ptr(CatalogWriteError()))));
    ASSERT_TRUE(probe.threw<SettingsTransactionError>());
    EXPECT_NE(outcome(probe).find(CatalogWriteError().description()), std::string::npos);
    EXPECT_NE(outcome(probe).find(
                  SecretStoreError::keychain(-25291, "No keychain is available.").description()),
              std::string::npos);
}

// Cancelling the approval, or everything, while a Keychain step runs: the step is undone and
// the change refused, except a deletion, which has nothing to go back to and stands.
TEST_F(SettingsTransactionTest, ACancellationDuringTheKeychainStepsUndoesThemOrLetsADeletionStand) {
    for (bool all : {false, true}) {
        for (auto kind :
             {Kind::addSecret, Kind::replaceSecret, Kind::repairSecret, Kind::deleteSecret}) {
            for (int callsBefore = 0;; ++callsBefore) {
                SCOPED_TRACE(testing::Message()
                             << "all: " << all << ", kind: " << static_cast<int>(kind)
                             << ", after Keychain calls: " << callsBefore);
                const auto before = prepare(kind);
                const auto authorization = authorize(operation(kind, entry));
                holdKeychain = true;
                auto probe = start(change(kind, authorization, commit()));
                for (int call = 0; call < callsBefore; ++call) {
                    finishKeychainCall();
                }
                holdKeychain = false;
                if (probe.finished()) {
                    break; // no Keychain step left to cancel during
                }
                if (all) {
                    service.cancelAll();
                } else {
                    service.cancelSettingsAuthorization(authorization);
                }
                settle();
                const bool deletion = kind == Kind::deleteSecret;
                EXPECT_EQ(outcome(probe), deletion ? ok : invalidSession);
                EXPECT_TRUE(itemIs(deletion ? std::nullopt : before));
                EXPECT_EQ(commits, 0);
                EXPECT_EQ(service.liveRecordCount(), 0U);
            }
        }
    }
}

TEST_F(SettingsTransactionTest, AnApprovalServesExactlyItsOperationOnce) {
    storeItem("old");
    auto authorization = authorize(SettingsOperation::replaceSecret(entry));
    EXPECT_EQ(run(service.replaceSecret(secretBytes("x"), Uuid::random(), authorization, commit())),
              invalidSession);
    EXPECT_EQ(service.liveRecordCount(), 0U) << "an approval offered for another change is dropped";

    authorization = authorize(SettingsOperation::deleteSecret(entry));
    EXPECT_EQ(run(service.deleteSecret(entry, authorization)), ok);
    EXPECT_EQ(run(service.deleteSecret(entry, authorization)), invalidSession);

    authorization = authorize(SettingsOperation::catalogMutation());
    executor.advance(31s);
    EXPECT_EQ(run(service.consumeCatalogMutationAuthorization(authorization)), invalidSession);
    authorization = authorize(SettingsOperation::catalogMutation());
    service.cancelSettingsAuthorization(authorization);
    EXPECT_EQ(run(service.consumeCatalogMutationAuthorization(authorization)), invalidSession);
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

TEST_F(SettingsTransactionTest, ASettingsAuthorizationEndsReuseAndDropsInvocations) {
    const auto session = begin();
    authorize(SettingsOperation::catalogMutation());
    EXPECT_FALSE(service.hasReusableCredential());
    EXPECT_EQ(run(consume(session)), invalidSession);
    begin();
    EXPECT_EQ(prompts(), 3U);
    // Existence checks need no approval and never prompt.
    storeItem("x");
    EXPECT_TRUE(value(service.containsSecret(entry)));
    EXPECT_FALSE(value(service.containsSecret(Uuid::random())));
    EXPECT_EQ(prompts(), 3U);
}

TEST_F(SettingsTransactionTest, NoLogLineCarriesAPassword) {
    test::LogCapture log;
    storeItem("old-secret");
    run(service.replaceSecret(secretBytes("new-secret"), entry,
                              authorize(SettingsOperation::replaceSecret(entry)),
                              commit(std::make_exception_ptr(CatalogWriteError()))));
    const auto other = Uuid::random();
    keychain.scriptStatus(-25291);
    run(service.addSecret(secretBytes("added-secret"), other,
                          authorize(SettingsOperation::addSecret(other)), commit()));
    run(consume(begin()));
    run(service.consumeSelectedEntry(begin(), Uuid::random(), PasswordAction::copy));

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
