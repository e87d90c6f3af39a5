#include "Security/SecurePasswordService.h"

#include "Security/BiometricAuthenticationError.h"
#include "Security/SettingsTransactionError.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualQueue.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using test::secretBytes;
using test::TaskProbe;
using Error = BiometricAuthenticationError;
using Operation = SettingsOperation;

const std::string ok = "ok";
const std::string cancelled = Error::cancelled().description();
const std::string invalidSession = Error::invalidSession().description();
const std::string expired = Error::expired().description();
const std::runtime_error catalogWriteError("The catalog could not be written.");

// How a probed task ended: "ok", "running", or what it threw.
template <class T>
std::string outcome(const TaskProbe<T>& probe) {
    if (!probe.error()) {
        return probe.finished() ? ok : "running";
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
        return start(std::move(task)).value();
    }
    InvocationSession begin() { return value(service.beginInvocation(Uuid::random())); }
    Task<ConsumedPassword> consume(const InvocationSession& session) {
        return service.consumeSelectedEntry(session, entry, PasswordAction::type);
    }
    SettingsAuthorization authorize(Operation operation) {
        return value(service.authorizeSettings(operation));
    }
    void approvePromptIfUp() {
        if (factory.last().isPromptUp()) {
            factory.last().approvePrompt();
        }
        settle();
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

    // A failed read ends the reuse too: whatever broke it would break the next one.
    keychain.items.clear();
    EXPECT_EQ(run(consume(begin())), SecretStoreError::itemNotFound().description());
    EXPECT_FALSE(service.hasReusableCredential());
    EXPECT_EQ(service.liveRecordCount(), 0U);
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
}

TEST_F(SecurePasswordServiceTest, ACancellationWhileThePromptIsUpEndsItCancelledEvenIfApproved) {
    factory.outcome = test::FakePromptOutcome::hold;
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
            if (approvedFirst) {
                factory.last().approvePrompt(); // the reply is on its way
            }
            row.cancel(service, invocation);
            EXPECT_EQ(factory.last().isPromptUp(), !approvedFirst && !row.dismissesThePrompt);
            approvePromptIfUp();
            EXPECT_EQ(outcome(probe), cancelled);
            EXPECT_TRUE(factory.last().invalidated);
            EXPECT_FALSE(service.hasReusableCredential());
            EXPECT_EQ(service.liveRecordCount(), 0U);
        }
    }

    // A settings prompt likewise, for everything cancelled and for a screen lock.
    auto settings = start(service.authorizeSettings(Operation::catalogMutation()));
    EXPECT_EQ(factory.last().reasons,
              std::vector<std::string>{"Authorize this password settings change."});
    service.cancelAll();
    settle();
    EXPECT_EQ(outcome(settings), cancelled);
    settings = start(service.authorizeSettings(Operation::catalogMutation()));
    service.forgetReusableCredential();
    approvePromptIfUp();
    EXPECT_EQ(outcome(settings), cancelled);
    EXPECT_EQ(service.liveRecordCount(), 0U);
}

// An invocation waits for the gate behind a settings prompt, or behind another invocation's
// prompt whose approval it would reuse. Cancelled meanwhile, it has no record yet; it must
// then neither prompt nor take over the approval ahead of it.
TEST_F(SecurePasswordServiceTest,
       AnInvocationCancelledWhileWaitingForTheGateNeitherPromptsNorReuses) {
    factory.outcome = test::FakePromptOutcome::hold;
    enum class Cancel { none, invocation, task, all };
    for (bool behindSettings : {true, false}) {
        for (auto how : {Cancel::none, Cancel::invocation, Cancel::task, Cancel::all}) {
            SCOPED_TRACE(testing::Message() << "behind settings: " << behindSettings
                                            << ", cancel: " << static_cast<int>(how));
            factory.made.clear();
            auto ahead = start(
                behindSettings ? discard(service.authorizeSettings(Operation::catalogMutation()))
                               : discard(service.beginInvocation(Uuid::random())));
            const auto waiter = Uuid::random();
            auto waiting = start(service.beginInvocation(waiter));
            ASSERT_EQ(prompts(), 1U) << "one prompt at a time";
            if (how == Cancel::invocation) {
                service.cancelInvocation(waiter);
            } else if (how == Cancel::task) {
                waiting.cancel();
            } else if (how == Cancel::all) {
                service.cancelAll();
            }
            approvePromptIfUp();
            approvePromptIfUp(); // the waiter's own, if it may prompt
            const bool waiterLives = how == Cancel::none;
            EXPECT_EQ(outcome(waiting), waiterLives ? ok : cancelled);
            EXPECT_EQ(prompts(), waiterLives && behindSettings ? 2U : 1U);
            EXPECT_EQ(outcome(ahead), how == Cancel::all ? cancelled : ok);
            EXPECT_EQ(service.liveRecordCount(), how == Cancel::all ? 0U : 1U)
                << "the approval ahead is still the one to spend, unless the waiter replaced it";
            service.cancelAll();
        }
    }
}

class SettingsTransactionTest : public SecurePasswordServiceTest {
protected:
    // A commit that throws `failure` when one is given.
    SecurePasswordService::MetadataCommit commit(std::exception_ptr failure = nullptr) {
        return [this, failure]() -> Task<void> { return runCommit(failure); };
    }
    Task<void> runCommit(std::exception_ptr failure) {
        ++commits;
        EXPECT_TRUE(service.isGateHeld());
        if (failure) {
            std::rethrow_exception(failure);
        }
        co_return;
    }
    // Spends `authorization` on the Keychain change `operation`, with the new value "new".
    Task<void> change(const Operation& operation, SettingsAuthorization authorization,
                      SecurePasswordService::MetadataCommit commitMetadata) {
        switch (operation.kind()) {
        case Operation::Kind::addSecret:
            return service.addSecret(secretBytes("new"), entry, authorization, commitMetadata);
        case Operation::Kind::replaceSecret:
            return service.replaceSecret(secretBytes("new"), entry, authorization, commitMetadata);
        case Operation::Kind::repairSecret:
            return service.repairSecret(secretBytes("new"), entry, authorization, commitMetadata);
        default:
            return service.deleteSecret(entry, authorization);
        }
    }
    std::string change(const Operation& operation, std::exception_ptr commitFailure = nullptr) {
        return run(change(operation, authorize(operation), commit(commitFailure)));
    }
    // Stores the item that `operation` starts from, and returns its value.
    std::optional<std::string_view> prepare(const Operation& operation) {
        keychain.items.clear();
        commits = 0;
        if (operation.kind() != Operation::Kind::replaceSecret && !isDeletion(operation)) {
            return std::nullopt;
        }
        storeItem("old");
        return "old";
    }
    static bool isDeletion(const Operation& operation) {
        return operation.kind() == Operation::Kind::deleteSecret;
    }
    std::vector<Operation> keychainChanges() const {
        return {Operation::addSecret(entry), Operation::replaceSecret(entry),
                Operation::repairSecret(entry), Operation::deleteSecret(entry)};
    }

    int commits = 0;
};

// Each change does its Keychain step, then commits under the gate. A commit that fails, also by
// being cancelled, undoes the step with the approval that is still valid, and its error passes
// through. A deletion has no commit.
TEST_F(SettingsTransactionTest, EachChangeCommitsOrUndoesItsKeychainStep) {
    const std::pair<std::exception_ptr, std::string> commitEndings[] = {
        {nullptr, ok},
        {std::make_exception_ptr(catalogWriteError), catalogWriteError.what()},
        {std::make_exception_ptr(CancelledError()), CancelledError().what()}};
    for (const auto& operation : keychainChanges()) {
        for (const auto& [failure, ending] : commitEndings) {
            SCOPED_TRACE(testing::Message()
                         << "kind " << static_cast<int>(operation.kind()) << ", " << ending);
            const bool deletion = isDeletion(operation);
            const auto before = prepare(operation);
            EXPECT_EQ(change(operation, failure), deletion ? ok : ending);
            const auto changed = deletion ? std::nullopt : std::optional("new");
            EXPECT_TRUE(itemIs(failure && !deletion ? before : changed));
            EXPECT_EQ(commits, deletion ? 0 : 1);
            EXPECT_EQ(service.liveRecordCount(), 0U);
            EXPECT_TRUE(factory.last().invalidated);
        }
    }
    prepare(Operation::addSecret(entry));
    EXPECT_EQ(change(Operation::addSecret(entry)), ok);
    EXPECT_TRUE(keychain.items.begin()->second.accessControl.has_value());
    // Replacing a missing item changes nothing.
    prepare(Operation::repairSecret(entry));
    EXPECT_EQ(change(Operation::replaceSecret(entry)),
              SecretStoreError::itemNotFound().description());
    EXPECT_TRUE(itemIs(std::nullopt));
    EXPECT_EQ(commits, 0);

    // When the undo fails as well, both failures are reported.
    keychain.statusMessages[-25291] = "No keychain is available.";
    keychain.script({});           // the create succeeds
    keychain.scriptStatus(-25291); // the delete that should undo it fails
    const auto error =
        change(Operation::addSecret(entry), std::make_exception_ptr(catalogWriteError));
    EXPECT_NE(error.find(catalogWriteError.what()), std::string::npos);
    EXPECT_NE(
        error.find(SecretStoreError::keychain(-25291, "No keychain is available.").description()),
        std::string::npos);
}

// Cancelling the approval, or everything, while a Keychain step runs: the step is undone and
// the change refused, except a deletion, which has nothing to go back to and stands.
TEST_F(SettingsTransactionTest, ACancellationDuringAKeychainStepUndoesItOrLetsADeletionStand) {
    for (bool all : {false, true}) {
        for (const auto& operation : keychainChanges()) {
            for (int callsBefore = 0;; ++callsBefore) {
                SCOPED_TRACE(testing::Message()
                             << "all: " << all << ", kind: " << static_cast<int>(operation.kind())
                             << ", after Keychain calls: " << callsBefore);
                const auto before = prepare(operation);
                const auto authorization = authorize(operation);
                holdKeychain = true;
                auto probe = start(change(operation, authorization, commit()));
                for (int call = 0; call < callsBefore; ++call) {
                    queue.runAll();
                    executor.runUntilIdle();
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
                EXPECT_EQ(outcome(probe), isDeletion(operation) ? ok : invalidSession);
                EXPECT_TRUE(itemIs(isDeletion(operation) ? std::nullopt : before));
                EXPECT_EQ(commits, 0);
                EXPECT_EQ(service.liveRecordCount(), 0U);
            }
        }
    }
}

TEST_F(SettingsTransactionTest, AnApprovalServesExactlyItsOperationOnce) {
    storeItem("old");
    auto authorization = authorize(Operation::replaceSecret(entry));
    EXPECT_EQ(run(service.replaceSecret(secretBytes("x"), Uuid::random(), authorization, commit())),
              invalidSession);
    EXPECT_EQ(service.liveRecordCount(), 0U) << "an approval offered for another change is dropped";

    authorization = authorize(Operation::deleteSecret(entry));
    EXPECT_EQ(run(service.deleteSecret(entry, authorization)), ok);
    EXPECT_EQ(run(service.deleteSecret(entry, authorization)), invalidSession);

    authorization = authorize(Operation::catalogMutation());
    executor.advance(31s);
    EXPECT_EQ(run(service.consumeCatalogMutationAuthorization(authorization)), invalidSession);
    authorization = authorize(Operation::catalogMutation());
    service.cancelSettingsAuthorization(authorization);
    EXPECT_EQ(run(service.consumeCatalogMutationAuthorization(authorization)), invalidSession);
}

TEST_F(SettingsTransactionTest, ASettingsAuthorizationEndsReuseAndDropsInvocations) {
    const auto session = begin();
    authorize(Operation::catalogMutation());
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

} // namespace
} // namespace kestrelle
