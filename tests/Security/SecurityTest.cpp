#include "Security/BiometricAuthenticationError.h"
#include "Security/BiometricPlatformMapping.h"
#include "Security/ExclusiveOperationGate.h"
#include "Security/SecurePasswordService.h"
#include "Security/SettingsTransactionError.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualQueue.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kestrelle {

void PrintTo(const BiometricAuthenticationError& error, std::ostream* out) {
    *out << error.description();
}

namespace {

using namespace std::chrono_literals;
using test::secretBytes;
using test::TaskProbe;
using Availability = BiometricAvailability;
using Error = BiometricAuthenticationError;
using Operation = SettingsOperation;

const std::string ok = "ok";
const std::string cancelled = Error::cancelled().description();
const std::string failed = Error::failed().description();

// On the Mac every cancellation (the fallback and an invalidated context too) is `cancelled`. The
// desktop takes the reader while it has a finger, else the password; a finger may try thrice.
TEST(BiometricMappingTest, PlatformAnswersMapToTheFewCasesTheUserSees) {
    using enum BiometricKind;
    const auto refused = [](const BiometricEvaluationResult& result) {
        return Error::fromEvaluationFailure(result.error, result.kind).description();
    };
    const auto mac = biometricErrorFromLocalAuthentication;
    for (auto code : {-2, -3, -4, -9, -10}) {
        EXPECT_EQ(refused({false, mac(code), {}}), cancelled) << code;
    }
    for (auto code : {-1, -5, -11}) {
        EXPECT_EQ(refused({false, mac(code), {}}), failed) << code;
    }
    EXPECT_EQ(Error::fromEvaluationFailure(mac(-7)),
              Error::unavailable(Availability::notEnrolled()));
    EXPECT_EQ(Availability::from({false, std::nullopt, mac(-8)}), Availability::lockedOut());
    EXPECT_EQ(Availability::from({true, biometricKindFromLocalAuthentication(2), {}}),
              Availability::available(faceID));
    EXPECT_EQ(Availability::from({true, biometricKindFromLocalAuthentication(4), {}}),
              Availability::unsupported());

    const auto noPrints = biometricErrorFromDBus("net.reactivated.Fprint.Error.NoEnrolledPrints");
    EXPECT_EQ(Availability::from(desktopApprovalPolicy(std::nullopt, false)),
              Availability::available(fingerprint));
    EXPECT_EQ(Availability::from(desktopApprovalPolicy(noPrints, true)),
              Availability::available(password));
    EXPECT_EQ(Availability::from(desktopApprovalPolicy(noPrints, false)),
              Availability::notEnrolled(fingerprint));
    using Action = FingerprintVerifyStep::Action;
    EXPECT_EQ(fingerprintVerifyStep("verify-retry-scan", false, 0).action, Action::wait);
    EXPECT_EQ(fingerprintVerifyStep("verify-no-match", true, 1).action, Action::retry);
    const auto third = fingerprintVerifyStep("verify-no-match", true, 2);
    EXPECT_EQ(refused(third.result), failed);
    EXPECT_EQ(third.action, Action::finish);
    EXPECT_TRUE(fingerprintVerifyStep("verify-match", true, 2).result.approved);
    EXPECT_TRUE(polkitEvaluationResult(true, false, false).approved);
    EXPECT_EQ(refused(polkitEvaluationResult(false, false, true)), cancelled);
    EXPECT_EQ(refused(polkitEvaluationResult(false, false, false)), failed);
    EXPECT_EQ(refused(polkitEvaluationResult(false, true, false)),
              Error::unavailable(Availability::unavailable(password)).description());
}

using Events = std::vector<std::string>;

Task<void> protectedWork(ExclusiveOperationGate& gate, Events& events, std::string name,
                         Duration hold) {
    auto guard = co_await gate.acquire();
    events.push_back(name + " in");
    co_await sleepFor(hold);
    events.push_back(name + " out");
}

TEST(ExclusiveOperationGateTest, WaitersOwnTheGateOneAtATimeInArrivalOrder) {
    test::ManualExecutor executor;
    ExclusiveOperationGate gate;
    Events events;
    spawn(executor, protectedWork(gate, events, "owner", 10s));
    executor.runUntilIdle();
    for (auto name : {"first", "second"}) {
        spawn(executor, protectedWork(gate, events, name, 1s));
    }
    executor.runUntilIdle();
    EXPECT_EQ(gate.waiterCount(), 2U);
    executor.advance(10s); // the owner releases; the first waiter's resumption is only queued
    spawn(executor, protectedWork(gate, events, "newcomer", 1s));
    executor.advance(3s);
    EXPECT_EQ(events, (Events{"owner in", "owner out", "first in", "first out", "second in",
                              "second out", "newcomer in", "newcomer out"}));
    EXPECT_FALSE(gate.isHeld());
}

TEST(ExclusiveOperationGateTest, TheGuardReleasesOnCancellationAndTeardown) {
    ExclusiveOperationGate gate;
    Events events;
    {
        test::ManualExecutor executor;
        test::TaskProbe<void> cancelled(executor, protectedWork(gate, events, "cancelled", 1h));
        executor.runUntilIdle();
        cancelled.cancel();
        executor.runUntilIdle();
        EXPECT_TRUE(cancelled.threw<CancelledError>());
        EXPECT_FALSE(gate.isHeld());

        // An owner and a waiter destroyed with their executor leave the gate free.
        spawn(executor, protectedWork(gate, events, "owner", 1h));
        spawn(executor, protectedWork(gate, events, "waiter", 1s));
        executor.runUntilIdle();
    }
    EXPECT_FALSE(gate.isHeld());
    EXPECT_EQ(gate.waiterCount(), 0U);
}

const std::string invalidSession = Error::invalidSession().description();
const std::string expired = Error::expired().description();

// How a probed task ended: "ok", "running", or what it threw.
template <class T>
std::string outcome(const TaskProbe<T>& probe) {
    try {
        if (probe.error()) {
            std::rethrow_exception(probe.error());
        }
    } catch (const std::exception& error) {
        return error.what();
    }
    return probe.finished() ? ok : "running";
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
    InvocationSession begin() { return start(service.beginInvocation(Uuid::random())).value(); }
    Task<ConsumedPassword> consume(const InvocationSession& session) {
        return service.consumeSelectedEntry(session, entry, PasswordAction::type);
    }
    SettingsAuthorization authorize(Operation operation) {
        return start(service.authorizeSettings(operation)).value();
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
    // Spends `authorization` on the Keychain change `operation`, storing "new"; its commit
    // throws `commitFailure` when one is given. A deletion has no commit.
    Task<void> change(const Operation& operation, SettingsAuthorization authorization,
                      std::exception_ptr commitFailure = nullptr) {
        const auto id = *operation.entryID();
        const SecurePasswordService::MetadataCommit commit = [this, commitFailure] {
            return runCommit(commitFailure);
        };
        switch (operation.kind()) {
        case Operation::Kind::addSecret:
            return service.addSecret(secretBytes("new"), id, authorization, commit);
        case Operation::Kind::replaceSecret:
            return service.replaceSecret(secretBytes("new"), id, authorization, commit);
        default:
            return service.deleteSecret(id, authorization);
        }
    }
    Task<void> runCommit(std::exception_ptr failure) {
        ++commits;
        EXPECT_TRUE(service.isGateHeld());
        if (failure) {
            std::rethrow_exception(failure);
        }
        co_return;
    }

    test::ManualExecutor executor;
    test::FakeBiometricContextFactory factory;
    test::FakeKeychainBackend keychain;
    test::ManualQueue queue;
    bool holdKeychain = false;
    SecretStore store{keychain, queue};
    SecurePasswordService service{factory, store, executor};
    const Uuid entry = Uuid::random();
    int commits = 0;
};

TEST_F(SecurePasswordServiceTest, AnApprovalIsReusedInsideTheWindowOnly) {
    storeItem("hunter2");
    const auto first = begin();
    EXPECT_EQ(first.expiresAt, executor.now() + 30s);
    executor.advance(10s);
    const auto reused = begin();
    EXPECT_EQ(prompts(), 1U);
    EXPECT_EQ(reused.expiresAt, first.expiresAt) << "not past the reuse window";
    const auto password = start(consume(reused)).value();
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

    // An unspent record is dropped after 30 seconds, even inside a longer reuse window.
    service.setBiometricReuseWindow(300s);
    session = begin();
    executor.advance(31s);
    EXPECT_EQ(service.liveRecordCount(), 0U);
    EXPECT_EQ(run(consume(session)), invalidSession);
    service.setBiometricReuseWindow(30s);

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
    const auto notEnrolled = BiometricAvailability::notEnrolled(BiometricKind::fingerprint);
    factory.policy = {false, BiometricKind::fingerprint, BiometricErrorCode::notEnrolled};
    EXPECT_EQ(run(service.beginInvocation(Uuid::random())),
              Error::unavailable(notEnrolled).description());
    EXPECT_TRUE(factory.last().reasons.empty());
    EXPECT_TRUE(factory.last().invalidated);
    EXPECT_EQ(service.availability(), notEnrolled);
    EXPECT_TRUE(factory.last().invalidated) << "the availability check's context too";
}

// However an invocation is cancelled, while it waits for the gate (behind a settings prompt, or
// behind another invocation's prompt whose approval it would reuse) or while its own prompt is
// up, even approved with the reply on its way, it ends cancelled, prompts no more and takes over
// no approval. A screen lock cancels every prompt, but leaves it up for the user.
TEST_F(SecurePasswordServiceTest, ACancelledInvocationEndsCancelledWhereverItWaits) {
    factory.outcome = test::FakePromptOutcome::hold;
    enum class Phase { behindSettings, behindInvocation, prompting, approved };
    enum class Cancel { none, invocation, task, all, screenLock };
    for (auto phase :
         {Phase::behindSettings, Phase::behindInvocation, Phase::prompting, Phase::approved}) {
        for (auto how :
             {Cancel::none, Cancel::invocation, Cancel::task, Cancel::all, Cancel::screenLock}) {
            const bool behind = phase == Phase::behindSettings || phase == Phase::behindInvocation;
            if (how == Cancel::task && !behind) {
                continue; // a prompt that is up ends through `cancelInvocation`
            }
            SCOPED_TRACE(testing::Message() << "phase " << static_cast<int>(phase) << ", cancel "
                                            << static_cast<int>(how));
            factory.made.clear();
            std::optional<TaskProbe<void>> ahead;
            if (behind) {
                ahead.emplace(
                    start(phase == Phase::behindSettings
                              ? discard(service.authorizeSettings(Operation::catalogMutation()))
                              : discard(service.beginInvocation(Uuid::random()))));
            }
            const auto invocation = Uuid::random();
            auto probe = start(service.beginInvocation(invocation));
            ASSERT_EQ(prompts(), 1U) << "one prompt at a time";
            if (phase == Phase::approved) {
                factory.last().approvePrompt();
            }
            if (how == Cancel::invocation) {
                service.cancelInvocation(invocation);
            } else if (how == Cancel::task) {
                probe.cancel();
            } else if (how == Cancel::all) {
                service.cancelAll();
            } else if (how == Cancel::screenLock) {
                service.forgetReusableCredential();
            }
            EXPECT_EQ(factory.last().isPromptUp(), phase != Phase::approved && how != Cancel::all &&
                                                       (behind || how != Cancel::invocation));
            approvePromptIfUp();
            approvePromptIfUp(); // the waiter's own, if it may prompt
            const bool endsAhead = how == Cancel::all || how == Cancel::screenLock;
            EXPECT_EQ(outcome(probe), how == Cancel::none ? ok : cancelled);
            EXPECT_EQ(prompts(), how == Cancel::none && phase == Phase::behindSettings ? 2U : 1U);
            if (ahead) {
                EXPECT_EQ(outcome(*ahead), endsAhead ? cancelled : ok);
            } else {
                EXPECT_EQ(factory.last().invalidated, how != Cancel::none);
                EXPECT_EQ(service.hasReusableCredential(), how == Cancel::none);
            }
            EXPECT_EQ(service.liveRecordCount(), how == Cancel::none || (behind && !endsAhead))
                << "the approval ahead is still the one to spend, unless the waiter replaced it";
            service.cancelAll();
        }
    }
    // A settings prompt ends cancelled too, when everything is cancelled or the screen locks.
    for (bool all : {true, false}) {
        auto settings = start(service.authorizeSettings(Operation::catalogMutation()));
        all ? service.cancelAll() : service.forgetReusableCredential();
        approvePromptIfUp();
        EXPECT_EQ(outcome(settings), cancelled);
        EXPECT_TRUE(factory.last().invalidated);
        EXPECT_EQ(service.liveRecordCount(), 0U);
    }
}

// Each change does its Keychain step, then commits under the gate. When the commit fails, also
// by being cancelled, or when the approval, alone or with everything, is cancelled during the
// Keychain step, the step is undone with the approval's context, valid until the spend ends, and
// the change refused. A deletion has nothing to commit and nothing to go back to: it stands.
TEST_F(SecurePasswordServiceTest, EachChangeCommitsOrUndoesItsKeychainStep) {
    const std::runtime_error writeError("The catalog could not be written.");
    const struct {
        std::exception_ptr commitFailure;
        void (*cancelDuringStep)(SecurePasswordService&, SettingsAuthorization);
        std::string outcome;
    } endings[] = {
        {nullptr, nullptr, ok},
        {std::make_exception_ptr(writeError), nullptr, writeError.what()},
        {std::make_exception_ptr(CancelledError()), nullptr, CancelledError().what()},
        {nullptr, [](auto& s, auto a) { s.cancelSettingsAuthorization(a); }, invalidSession},
        {nullptr, [](auto& s, auto) { s.cancelAll(); }, invalidSession}};
    // A repair stores like an add, over whatever is left.
    for (const auto& operation : {Operation::addSecret(entry), Operation::replaceSecret(entry),
                                  Operation::deleteSecret(entry)}) {
        for (const auto& ending : endings) {
            SCOPED_TRACE(testing::Message()
                         << "kind " << static_cast<int>(operation.kind()) << ", " << ending.outcome
                         << ", " << (ending.cancelDuringStep != nullptr));
            const bool deletion = operation.kind() == Operation::Kind::deleteSecret;
            const bool adding = operation.kind() == Operation::Kind::addSecret;
            keychain.items.clear();
            commits = 0;
            if (!adding) {
                storeItem("old");
            }
            const auto authorization = authorize(operation);
            holdKeychain = ending.cancelDuringStep != nullptr;
            auto probe = start(change(operation, authorization, ending.commitFailure));
            if (ending.cancelDuringStep) {
                ending.cancelDuringStep(service, authorization);
            }
            holdKeychain = false;
            settle();
            EXPECT_EQ(outcome(probe), deletion ? ok : ending.outcome);
            EXPECT_TRUE(itemIs(deletion               ? std::nullopt
                               : ending.outcome == ok ? std::optional("new")
                               : adding               ? std::nullopt
                                                      : std::optional("old")));
            EXPECT_EQ(commits, !deletion && !ending.cancelDuringStep ? 1 : 0);
            EXPECT_EQ(service.liveRecordCount(), 0U);
            EXPECT_TRUE(factory.last().invalidated);
        }
    }
    // When the undo fails as well, both failures are reported.
    keychain.statusMessages[-25291] = "No keychain is available.";
    keychain.script({});           // the create succeeds
    keychain.scriptStatus(-25291); // the delete that should undo it fails
    const auto adding = Operation::addSecret(entry);
    const auto error = run(change(adding, authorize(adding), std::make_exception_ptr(writeError)));
    EXPECT_NE(error.find(writeError.what()), std::string::npos);
    EXPECT_NE(error.find(SecretStoreError::keychain(KeychainStatus::fromOSStatus(-25291),
                                                    "No keychain is available.")
                             .description()),
              std::string::npos);
}

// A settings approval also ends reuse and every invocation's.
TEST_F(SecurePasswordServiceTest, AnApprovalServesExactlyItsOperationOnce) {
    const auto session = begin();
    storeItem("old");
    auto authorization = authorize(Operation::replaceSecret(entry));
    EXPECT_FALSE(service.hasReusableCredential());
    EXPECT_EQ(run(consume(session)), invalidSession);
    EXPECT_EQ(run(change(Operation::replaceSecret(Uuid::random()), authorization)), invalidSession);
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

} // namespace
} // namespace kestrelle
