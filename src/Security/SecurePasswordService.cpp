#include "Security/SecurePasswordService.h"

#include "Security/BiometricAuthenticationError.h"
#include "Security/SettingsTransactionError.h"
#include "Storage/SecretStoreError.h"

namespace kestrelle {

namespace {

std::string describe(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const KestrelleError& known) {
        return known.description();
    } catch (const std::exception& other) {
        return other.what();
    } catch (...) {
        return "Unknown error.";
    }
}

} // namespace

// Holds a settings approval while it is spent; whichever way the operation ends, the record is
// dropped and its context invalidated. Until then the context stays valid even if the approval is
// cancelled meanwhile, so that a Keychain step already made can still be undone.
class SecurePasswordService::SettingsSpend {
public:
    SettingsSpend(SecurePasswordService& service, Uuid nonce,
                  std::shared_ptr<BiometricContext> context)
        : service_(service), nonce_(nonce), context_(std::move(context)) {}
    SettingsSpend(const SettingsSpend&) = delete;
    SettingsSpend& operator=(const SettingsSpend&) = delete;
    ~SettingsSpend() {
        service_.dropSettingsAuthorization(nonce_);
        context_->invalidate();
    }

    std::shared_ptr<AuthenticationContext> authenticationContext() const {
        return context_->authenticationContext();
    }

private:
    SecurePasswordService& service_;
    Uuid nonce_;
    std::shared_ptr<BiometricContext> context_;
};

SecurePasswordService::SecurePasswordService(BiometricContextCreating& contextFactory,
                                             SecretStore& secretStore, Executor& executor)
    : contextFactory_(contextFactory), secretStore_(secretStore), executor_(executor) {}

SecurePasswordService::~SecurePasswordService() {
    cancelAll();
}

BiometricAvailability SecurePasswordService::availability() {
    auto context = contextFactory_.makeContext();
    auto availability = context->availability();
    context->invalidate();
    return availability;
}

void SecurePasswordService::setBiometricReuseWindow(std::chrono::duration<double> window) {
    biometricReuseWindow_ = window;
}

bool SecurePasswordService::isYoung(WallTime authenticatedAt) const {
    // An approval dated in the future is as unusable as an old one: the clock was moved.
    const auto age = executor_.now() - authenticatedAt;
    return age >= WallTime::duration::zero() && age <= approvalAgeLimit;
}

// Invocations

Task<InvocationSession> SecurePasswordService::beginInvocation(Uuid invocationID) {
    auto guard = co_await acquireGateUnlessCancelled(invocationID);
    const auto cancellations = cancellations_.current();
    dropAllRecords();
    pruneReusableCredential();

    if (reusableCredential_) {
        const auto now = executor_.now();
        co_return storeApprovedInvocation(
            invocationID, {Uuid::random(), now, reusableCredential_->context, now, false, {}});
    }

    auto context = makeApprovalContext(contextFactory_);
    const auto nonce = Uuid::random();
    invocations_.insert_or_assign(invocationID,
                                  InvocationRecord{nonce, executor_.now(), context, {}, false, {}});
    try {
        co_await context->evaluate(std::string(invocationApprovalReason));
    } catch (...) {
        dropInvocation(invocationID, nonce);
        throw;
    }

    const auto found = invocations_.find(invocationID);
    const bool replaced = found == invocations_.end() || found->second.nonce != nonce;
    if (replaced || !cancellations_.isCurrent(cancellations)) {
        // Approved, but too late: the invocation was cancelled while the prompt was up.
        dropInvocation(invocationID, nonce);
        context->invalidate();
        throw BiometricAuthenticationError::cancelled();
    }
    auto record = std::move(found->second);
    invocations_.erase(found);
    const auto now = executor_.now();
    record.authenticatedAt = now;
    if (reusableCredential_ && reusableCredential_->context != context) {
        dropReusableCredential();
    }
    reusableCredential_ = ReusableCredential{context, now};
    scheduleReuseExpiry();
    co_return storeApprovedInvocation(invocationID, std::move(record));
}

InvocationSession SecurePasswordService::storeApprovedInvocation(Uuid invocationID,
                                                                 InvocationRecord record) {
    // A reused approval is good for the usual 30 seconds, but not past the end of the reuse
    // window it came from: the picker then closes when the window does.
    auto expiresAt = *record.authenticatedAt + approvalAgeLimit;
    if (reusableCredential_) {
        const auto windowEnd =
            reusableCredential_->promptedAt +
            std::chrono::duration_cast<WallTime::duration>(biometricReuseWindow_);
        expiresAt = std::min(expiresAt, windowEnd);
    }
    const InvocationSession session{invocationID, record.nonce, expiresAt};
    record.expiry =
        executor_.scheduleAfter(approvalAgeLimit, [this, invocationID, nonce = record.nonce] {
            dropInvocation(invocationID, nonce);
        });
    invocations_.insert_or_assign(invocationID, std::move(record));
    return session;
}

Task<ConsumedPassword> SecurePasswordService::consumeSelectedEntry(InvocationSession session,
                                                                   Uuid entryID,
                                                                   PasswordAction action) {
    auto guard = co_await operationGate_.acquire();
    const auto found = invocations_.find(session.invocationID);
    if (found == invocations_.end() || found->second.nonce != session.nonce ||
        found->second.isConsuming || !found->second.authenticatedAt) {
        throw BiometricAuthenticationError::invalidSession();
    }
    const auto authenticatedAt = *found->second.authenticatedAt;
    if (!isYoung(authenticatedAt)) {
        dropInvocation(session.invocationID, session.nonce);
        throw BiometricAuthenticationError::expired();
    }
    found->second.isConsuming = true;
    const auto context = found->second.context;

    std::shared_ptr<TransientSecret> secret;
    std::exception_ptr readFailure;
    try {
        auto bytes = co_await secretStore_.readSecret(entryID, context->authenticationContext());
        secret = std::make_shared<TransientSecret>(std::move(bytes));
    } catch (...) {
        readFailure = std::current_exception();
    }
    const auto still = invocations_.find(session.invocationID);
    if (still == invocations_.end() || still->second.nonce != session.nonce) {
        // Withdrawn while the read ran, which also made the Keychain refuse it: the withdrawal
        // is the answer. A secret that was read is wiped as it goes.
        if (!isYoung(authenticatedAt)) {
            throw BiometricAuthenticationError::expired();
        }
        throw BiometricAuthenticationError::invalidSession();
    }
    dropInvocation(session.invocationID, session.nonce);
    if (readFailure) {
        // Whatever broke the read would break the next one too: ask afresh next time.
        dropReusableCredential();
        std::rethrow_exception(readFailure);
    }
    co_return ConsumedPassword{entryID, action, std::move(secret)};
}

void SecurePasswordService::cancelInvocation(Uuid invocationID) {
    for (auto& waiting : waitingInvocations_) {
        if (waiting.invocationID == invocationID) {
            waiting.cancelled = true;
        }
    }
    dropInvocation(invocationID);
}

// Settings

Task<SettingsAuthorization> SecurePasswordService::authorizeSettings(SettingsOperation operation) {
    auto guard = co_await acquireGateUnlessCancelled(std::nullopt);
    const auto cancellations = cancellations_.current();
    dropAllRecords();
    dropReusableCredential();

    auto context = makeApprovalContext(contextFactory_);
    settingsPromptContext_ = context;
    try {
        co_await context->evaluate(std::string(settingsApprovalReason));
    } catch (...) {
        settingsPromptContext_.reset();
        context->invalidate();
        throw;
    }
    settingsPromptContext_.reset();
    if (!cancellations_.isCurrent(cancellations)) {
        context->invalidate();
        throw BiometricAuthenticationError::cancelled();
    }

    const auto nonce = Uuid::random();
    auto expiry = executor_.scheduleAfter(approvalAgeLimit,
                                          [this, nonce] { dropSettingsAuthorization(nonce); });
    settingsAuthorizations_.insert_or_assign(
        nonce, SettingsRecord{operation, std::move(context), executor_.now(), false, expiry});
    co_return SettingsAuthorization{nonce};
}

std::shared_ptr<BiometricContext> SecurePasswordService::beginConsumingSettingsAuthorization(
    const SettingsAuthorization& authorization, const SettingsOperation& operation) {
    const auto found = settingsAuthorizations_.find(authorization.nonce);
    if (found == settingsAuthorizations_.end() || found->second.isConsuming ||
        !found->second.authenticatedAt) {
        throw BiometricAuthenticationError::invalidSession();
    }
    if (found->second.operation != operation) {
        // An approval offered for another change than it was given for is not kept.
        dropSettingsAuthorization(authorization.nonce);
        throw BiometricAuthenticationError::invalidSession();
    }
    if (!isYoung(*found->second.authenticatedAt)) {
        dropSettingsAuthorization(authorization.nonce);
        throw BiometricAuthenticationError::expired();
    }
    found->second.isConsuming = true;
    return found->second.context;
}

void SecurePasswordService::requireActiveSettingsAuthorization(
    const SettingsAuthorization& authorization) const {
    const auto found = settingsAuthorizations_.find(authorization.nonce);
    if (found == settingsAuthorizations_.end() || !found->second.isConsuming) {
        throw BiometricAuthenticationError::invalidSession();
    }
}

Task<void> SecurePasswordService::commitOrUndo(const SettingsAuthorization& authorization,
                                               MetadataCommit& commitMetadata, KeychainUndo undo) {
    std::exception_ptr failure;
    try {
        // Cancelled while the Keychain step ran: the step is undone instead of committed.
        requireActiveSettingsAuthorization(authorization);
        co_await commitMetadata();
    } catch (...) {
        failure = std::current_exception();
    }
    if (!failure) {
        // Both stores hold the change now; a cancellation arriving this late changes nothing.
        co_return;
    }
    std::exception_ptr undoError;
    try {
        co_await undo();
    } catch (...) {
        undoError = std::current_exception();
    }
    if (undoError) {
        throw SettingsTransactionError::metadataAndRollbackFailed(describe(failure),
                                                                  describe(undoError));
    }
    std::rethrow_exception(failure);
}

Task<void> SecurePasswordService::addSecret(SecretBytes password, Uuid entryID,
                                            SettingsAuthorization authorization,
                                            MetadataCommit commitMetadata) {
    co_await storeNewSecret(SettingsOperation::addSecret(entryID), std::move(password),
                            authorization, commitMetadata);
}

Task<void> SecurePasswordService::replaceSecret(SecretBytes password, Uuid entryID,
                                                SettingsAuthorization authorization,
                                                MetadataCommit commitMetadata) {
    auto guard = co_await operationGate_.acquire();
    const SettingsSpend spend(*this, authorization.nonce,
                              beginConsumingSettingsAuthorization(
                                  authorization, SettingsOperation::replaceSecret(entryID)));
    const auto context = spend.authenticationContext();
    auto previousBytes = co_await secretStore_.readSecret(entryID, context);
    const TransientSecret previous(std::move(previousBytes));
    requireActiveSettingsAuthorization(authorization);
    co_await secretStore_.saveSecret(std::move(password), entryID, context);
    KeychainUndo undo = [this, entryID, context, &previous] {
        auto restored = previous.withUnsafeBytes([](std::span<const std::uint8_t> bytes) {
            return SecretBytes(bytes.begin(), bytes.end());
        });
        return secretStore_.saveSecret(std::move(restored), entryID, context);
    };
    co_await commitOrUndo(authorization, commitMetadata, std::move(undo));
}

Task<void> SecurePasswordService::repairSecret(SecretBytes password, Uuid entryID,
                                               SettingsAuthorization authorization,
                                               MetadataCommit commitMetadata) {
    co_await storeNewSecret(SettingsOperation::repairSecret(entryID), std::move(password),
                            authorization, commitMetadata);
}

Task<void> SecurePasswordService::storeNewSecret(SettingsOperation operation, SecretBytes password,
                                                 const SettingsAuthorization& authorization,
                                                 MetadataCommit& commitMetadata) {
    const auto entryID = *operation.entryID();
    auto guard = co_await operationGate_.acquire();
    const SettingsSpend spend(*this, authorization.nonce,
                              beginConsumingSettingsAuthorization(authorization, operation));
    const auto context = spend.authenticationContext();
    // A repair stores over whatever is left; an add must not find an item.
    if (operation.kind() == SettingsOperation::Kind::addSecret) {
        co_await secretStore_.createSecret(std::move(password), entryID, context);
    } else {
        co_await secretStore_.saveSecret(std::move(password), entryID, context);
    }
    KeychainUndo undo = [this, entryID, context] {
        return secretStore_.deleteSecret(entryID, context);
    };
    co_await commitOrUndo(authorization, commitMetadata, std::move(undo));
}

Task<void> SecurePasswordService::deleteSecret(Uuid entryID, SettingsAuthorization authorization) {
    auto guard = co_await operationGate_.acquire();
    const SettingsSpend spend(*this, authorization.nonce,
                              beginConsumingSettingsAuthorization(
                                  authorization, SettingsOperation::deleteSecret(entryID)));
    // Once the item is gone there is nothing to go back to: the caller records the deletion
    // even if the approval was cancelled meanwhile.
    co_await secretStore_.deleteSecret(entryID, spend.authenticationContext());
}

Task<void>
SecurePasswordService::consumeCatalogMutationAuthorization(SettingsAuthorization authorization) {
    auto guard = co_await operationGate_.acquire();
    const SettingsSpend spend(
        *this, authorization.nonce,
        beginConsumingSettingsAuthorization(authorization, SettingsOperation::catalogMutation()));
}

void SecurePasswordService::cancelSettingsAuthorization(SettingsAuthorization authorization) {
    dropSettingsAuthorization(authorization.nonce);
}

Task<bool> SecurePasswordService::containsSecret(Uuid entryID) {
    co_return co_await secretStore_.containsSecret(entryID);
}

Task<ExclusiveOperationGate::Guard>
SecurePasswordService::acquireGateUnlessCancelled(std::optional<Uuid> invocationID) {
    // Taken before waiting: a cancellation while waiting counts too.
    const auto cancellations = cancellations_.current();
    struct Waiting {
        std::list<WaitingInvocation>& list;
        std::list<WaitingInvocation>::iterator entry;
        ~Waiting() { list.erase(entry); }
    } const waiting{waitingInvocations_,
                    waitingInvocations_.insert(waitingInvocations_.end(), {invocationID})};
    auto guard = co_await operationGate_.acquire();
    const bool taskCancelled = co_await isCancelled();
    if (taskCancelled || waiting.entry->cancelled || !cancellations_.isCurrent(cancellations)) {
        throw BiometricAuthenticationError::cancelled();
    }
    co_return guard;
}

// Records and the reusable credential

void SecurePasswordService::releaseContext(const std::shared_ptr<BiometricContext>& context) {
    if (!reusableCredential_ || reusableCredential_->context != context) {
        context->invalidate();
    }
}

void SecurePasswordService::dropInvocation(const Uuid& invocationID, std::optional<Uuid> nonce) {
    const auto found = invocations_.find(invocationID);
    if (found == invocations_.end() || (nonce && found->second.nonce != *nonce)) {
        return;
    }
    auto record = std::move(found->second);
    invocations_.erase(found);
    if (record.expiry) {
        executor_.cancelTimer(*record.expiry);
    }
    // Last: invalidating may dismiss a prompt that is up, which reports back later.
    releaseContext(record.context);
}

void SecurePasswordService::dropSettingsAuthorization(const Uuid& nonce) {
    const auto found = settingsAuthorizations_.find(nonce);
    if (found == settingsAuthorizations_.end()) {
        return;
    }
    auto record = std::move(found->second);
    settingsAuthorizations_.erase(found);
    if (record.expiry) {
        executor_.cancelTimer(*record.expiry);
    }
    // A spend in progress invalidates the context itself when it ends.
    if (!record.isConsuming) {
        record.context->invalidate();
    }
}

void SecurePasswordService::dropAllRecords() {
    while (!invocations_.empty()) {
        dropInvocation(invocations_.begin()->first);
    }
    while (!settingsAuthorizations_.empty()) {
        dropSettingsAuthorization(settingsAuthorizations_.begin()->first);
    }
}

void SecurePasswordService::forgetReusableCredential() {
    // A prompt that is up (the screen was locked under it) must not turn into a new approval.
    cancellations_.advance();
    dropReusableCredential();
}

void SecurePasswordService::dropReusableCredential() {
    if (reuseExpiry_) {
        executor_.cancelTimer(*std::exchange(reuseExpiry_, std::nullopt));
    }
    if (!reusableCredential_) {
        return;
    }
    // Approvals that share the context end with it: the Keychain would refuse their reads.
    const auto context = reusableCredential_->context;
    std::erase_if(invocations_, [&](auto& entry) {
        auto& record = entry.second;
        if (record.context != context) {
            return false;
        }
        if (record.expiry) {
            executor_.cancelTimer(*record.expiry);
        }
        return true;
    });
    reusableCredential_.reset();
    context->invalidate();
}

void SecurePasswordService::pruneReusableCredential() {
    if (!reusableCredential_) {
        return;
    }
    const auto age = executor_.now() - reusableCredential_->promptedAt;
    if (age < WallTime::duration::zero() || age > biometricReuseWindow_) {
        dropReusableCredential();
    }
}

void SecurePasswordService::scheduleReuseExpiry() {
    if (reuseExpiry_) {
        executor_.cancelTimer(*std::exchange(reuseExpiry_, std::nullopt));
    }
    const auto age = executor_.now() - reusableCredential_->promptedAt;
    // Just past the window's end, where the prune no longer keeps the credential.
    const auto remaining = std::chrono::duration_cast<Duration>(biometricReuseWindow_ - age) +
                           std::chrono::milliseconds{1};
    reuseExpiry_ = executor_.scheduleAfter(remaining, [this] {
        reuseExpiry_.reset();
        pruneReusableCredential();
    });
}

void SecurePasswordService::cancelAll() {
    cancellations_.advance();
    dropAllRecords();
    dropReusableCredential();
    if (auto prompt = std::exchange(settingsPromptContext_, nullptr)) {
        prompt->invalidate();
    }
}

} // namespace kestrelle
