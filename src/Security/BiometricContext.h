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

// The reasons shown in the biometric prompt.
inline constexpr std::string_view invocationApprovalReason = "Choose a saved password to type.";
inline constexpr std::string_view settingsApprovalReason =
    "Authorize this password settings change.";

// The platform's reply to one evaluation.
struct BiometricEvaluationResult {
    bool approved = false;
    // The code of the error that came with a refusal; none when the error was absent or not a
    // LocalAuthentication one.
    std::optional<BiometricErrorCode> error;
};

// One biometric authentication context: created for one approval, evaluated at most once, kept
// while that approval may be reused, and invalidated when dropped. Only biometrics count;
// there is no password fallback. A platform implements the virtual members and only translates;
// the mapping of its answers lives here.
// Real: LocalAuthenticationContext (macOS adapter). Fake: FakeBiometricContext.
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
    // The approval as the Keychain takes it; none when the context has no native session.
    virtual std::shared_ptr<AuthenticationContext> authenticationContext() = 0;

protected:
    // Whether the biometrics-only policy can be evaluated now.
    virtual BiometricPolicyState policyState() = 0;
    // Starts evaluating the biometrics-only policy; `reply` is called once, on any thread.
    virtual void evaluatePolicy(const std::string& reason, EvaluationReply reply) = 0;
};

} // namespace kestrelle
