#pragma once

#include "Runtime/Task.h"
#include "Security/BiometricAvailability.h"
#include "Security/BiometricErrorCode.h"
#include "Storage/AuthenticationContext.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelle {

// The reasons shown in the approval prompt.
inline constexpr std::string_view invocationApprovalReason = "Choose a saved password to type.";
inline constexpr std::string_view settingsApprovalReason =
    "Authorize this password settings change.";

// The platform's reply to one evaluation.
struct BiometricEvaluationResult {
    bool approved = false;
    // Why it refused; none when the platform gave no reason the mapping names.
    std::optional<BiometricErrorCode> error;
    // The kind that answered, when the platform says; a refusal's texts name it.
    std::optional<BiometricKind> kind;
};

// One approval context: created for one approval, evaluated at most once, kept while that
// approval may be reused, and invalidated when dropped. Only the kind in force counts: a refused
// fingerprint never falls back to a password (the desktop's password is a kind of its own, for
// where no reader has an enrolled finger). A platform implements the virtual members and only
// translates, through BiometricPlatformMapping; the meaning of its answers lives here.
// Real: LocalAuthenticationContext (macOS adapter), the context of DesktopApprovalAuthenticator
// (Linux adapter). Fake: FakeBiometricContext.
class BiometricContext {
public:
    using EvaluationReply = std::function<void(BiometricEvaluationResult)>;

    virtual ~BiometricContext() = default;

    // Never prompts.
    BiometricAvailability availability() { return BiometricAvailability::from(policyState()); }
    // Shows the prompt with `reason`; completes on approval, throws BiometricAuthenticationError
    // otherwise. The context must outlive the evaluation.
    Task<void> evaluate(std::string reason);

    // Ends the approval: a prompt that is up is dismissed as cancelled, later evaluations are
    // cancelled, and Keychain queries that carry the context fail.
    virtual void invalidate() = 0;
    // The approval as the Keychain takes it; none when the context has no native session. Only
    // a secret store that binds items to approvals takes one (PlatformTraits::
    // secretStoreBindsBiometrics); where the store does not, this is none and the store reads a
    // query without a context as gated by the app's own approval.
    virtual std::shared_ptr<AuthenticationContext> authenticationContext() = 0;

protected:
    // Whether the policy of the kind in force can be evaluated now. Never prompts.
    virtual BiometricPolicyState policyState() = 0;
    // Starts evaluating that policy; `reply` is called once, on any thread.
    virtual void evaluatePolicy(const std::string& reason, EvaluationReply reply) = 0;
};

} // namespace kestrelle
