#pragma once

#include "Runtime/Executor.h"
#include "Runtime/Generation.h"
#include "Runtime/Task.h"
#include "Runtime/Uuid.h"
#include "Security/BiometricAvailability.h"
#include "Security/BiometricContextCreating.h"
#include "Security/ConsumedPassword.h"
#include "Security/ExclusiveOperationGate.h"
#include "Security/InvocationSession.h"
#include "Security/PasswordAction.h"
#include "Security/SettingsAuthorization.h"
#include "Storage/SecretStore.h"

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <unordered_map>

namespace kestrelle {

// The one door to saved password values. Every read and write is bound to a biometric
// approval that this service obtained itself, that is young, that was given for exactly that
// purpose, and that is spent once. Main-thread object; protected operations run one at a time
// under the operation gate, while the cancellation calls get through at any moment.
//
// Errors: BiometricAuthenticationError, SecretStoreError, and from the settings operations
// whatever their commit throws, or SettingsTransactionError when its rollback failed too.
class SecurePasswordService {
public:
    // An approval may be spent only while it is at most this old.
    static constexpr std::chrono::seconds approvalAgeLimit{30};

    // Writes the catalog change that belongs with a Keychain change. Runs after the Keychain
    // step, in the same gate ownership, while the approval can still undo that step.
    using MetadataCommit = std::function<Task<void>()>;

    SecurePasswordService(BiometricContextCreating& contextFactory, SecretStore& secretStore,
                          Executor& executor);
    SecurePasswordService(const SecurePasswordService&) = delete;
    SecurePasswordService& operator=(const SecurePasswordService&) = delete;
    ~SecurePasswordService();

    // Of a fresh context; never prompts.
    BiometricAvailability availability();
    // Applies from the next prune on.
    void setBiometricReuseWindow(std::chrono::duration<double> window);

    // Reuses a still-valid approval, or shows the prompt.
    Task<InvocationSession> beginInvocation(Uuid invocationID);
    // An approval withdrawn while its read runs (cancelled, aged out, the screen locked) ends
    // the spend as `invalidSession` or `expired`, whatever the Keychain answered.
    Task<ConsumedPassword> consumeSelectedEntry(InvocationSession session, Uuid entryID,
                                                PasswordAction action);
    // Also holds for an invocation still waiting for the gate: it ends `cancelled` once it gets
    // there, without prompting or reusing an approval.
    void cancelInvocation(Uuid invocationID);

    // Always prompts, and ends any reuse.
    Task<SettingsAuthorization> authorizeSettings(SettingsOperation operation);
    // Creates the item, then commits; a failed commit deletes the item again.
    Task<void> addSecret(SecretBytes password, Uuid entryID, SettingsAuthorization authorization,
                         MetadataCommit commitMetadata);
    // Keeps the old value, stores the new one over it, then commits; a failed commit writes the
    // old value back. A missing item fails with `itemNotFound` before anything changes.
    Task<void> replaceSecret(SecretBytes password, Uuid entryID,
                             SettingsAuthorization authorization, MetadataCommit commitMetadata);
    // Stores the value, creating the item if missing, then commits; a failed commit deletes
    // the item again.
    Task<void> repairSecret(SecretBytes password, Uuid entryID, SettingsAuthorization authorization,
                            MetadataCommit commitMetadata);
    Task<void> deleteSecret(Uuid entryID, SettingsAuthorization authorization);
    // Spends an approval on a change of the catalog alone; the caller then saves the catalog.
    Task<void> consumeCatalogMutationAuthorization(SettingsAuthorization authorization);
    void cancelSettingsAuthorization(SettingsAuthorization authorization);

    // Needs no approval and never prompts.
    Task<bool> containsSecret(Uuid entryID);

    // Ends reuse, with the invocation approvals that share the reused context, and turns a
    // prompt that is up into a cancellation.
    void forgetReusableCredential();
    // Ends every approval: records, the reusable credential and any prompt that is up.
    void cancelAll();

    // For tests and diagnostics.
    std::size_t liveRecordCount() const {
        return invocations_.size() + settingsAuthorizations_.size();
    }
    bool hasReusableCredential() const { return reusableCredential_.has_value(); }
    bool isGateHeld() const { return operationGate_.isHeld(); }

private:
    struct InvocationRecord {
        Uuid nonce;
        WallTime createdAt;
        std::shared_ptr<BiometricContext> context;
        std::optional<WallTime> authenticatedAt;
        bool isConsuming = false;
        std::optional<TimerId> expiry;
    };
    struct SettingsRecord {
        SettingsOperation operation;
        std::shared_ptr<BiometricContext> context;
        std::optional<WallTime> authenticatedAt;
        bool isConsuming = false;
        std::optional<TimerId> expiry;
    };
    struct ReusableCredential {
        std::shared_ptr<BiometricContext> context;
        WallTime promptedAt;
    };
    // An operation waiting for the gate. An invocation's carries its identifier: it has no
    // record yet for a cancellation to drop.
    struct WaitingInvocation {
        std::optional<Uuid> invocationID;
        bool cancelled = false;
    };
    class SettingsSpend;
    using KeychainUndo = std::function<Task<void>()>;

    InvocationSession storeApprovedInvocation(Uuid invocationID, InvocationRecord record);
    void dropInvocation(const Uuid& invocationID, std::optional<Uuid> nonce = std::nullopt);
    void dropSettingsAuthorization(const Uuid& nonce);
    void dropAllRecords();
    // Invalidates a dropped record's context, unless the reusable credential still holds it.
    void releaseContext(const std::shared_ptr<BiometricContext>& context);
    void dropReusableCredential();
    void pruneReusableCredential();
    void scheduleReuseExpiry();
    bool isYoung(WallTime authenticatedAt) const;
    // Waits for the gate. An operation cancelled meanwhile (for an invocation: by its own
    // cancellation too) ends `cancelled` there, before it can prompt or reuse an approval.
    Task<ExclusiveOperationGate::Guard>
    acquireGateUnlessCancelled(std::optional<Uuid> invocationID);

    // Validates the approval for `operation` and marks it consuming.
    std::shared_ptr<BiometricContext>
    beginConsumingSettingsAuthorization(const SettingsAuthorization& authorization,
                                        const SettingsOperation& operation);
    // After every suspension: the approval must still be the active one.
    void requireActiveSettingsAuthorization(const SettingsAuthorization& authorization) const;
    // The Keychain step of an add or a repair, then the commit; a failed commit deletes the item.
    Task<void> storeNewSecret(SettingsOperation operation, SecretBytes password,
                              const SettingsAuthorization& authorization,
                              MetadataCommit& commitMetadata);
    Task<void> commitOrUndo(const SettingsAuthorization& authorization,
                            MetadataCommit& commitMetadata, KeychainUndo undo);

    BiometricContextCreating& contextFactory_;
    SecretStore& secretStore_;
    Executor& executor_;
    ExclusiveOperationGate operationGate_;
    std::unordered_map<Uuid, InvocationRecord> invocations_;
    std::unordered_map<Uuid, SettingsRecord> settingsAuthorizations_;
    std::optional<ReusableCredential> reusableCredential_;
    std::optional<TimerId> reuseExpiry_;
    std::chrono::duration<double> biometricReuseWindow_{30};
    // Advanced by cancelAll and forgetReusableCredential, so that a prompt that was up, or an
    // operation that waited for the gate, can tell.
    Generation cancellations_;
    std::list<WaitingInvocation> waitingInvocations_;
    // The context of a settings prompt that is up, so that cancelAll can dismiss it.
    std::shared_ptr<BiometricContext> settingsPromptContext_;
};

} // namespace kestrelle
