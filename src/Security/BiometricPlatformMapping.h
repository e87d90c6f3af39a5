#pragma once

#include "Security/BiometricContext.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace kestrelle {

// What each platform's answers mean to the core. The adapters pass the platform's values
// through these and decide nothing themselves.

// macOS, LocalAuthentication: the LABiometryType and LAError numbers. Numbers the tables do not
// name give none: no supported kind, and a plain failure.
std::optional<BiometricKind> biometricKindFromLocalAuthentication(std::int64_t biometryType);
std::optional<BiometricErrorCode> biometricErrorFromLocalAuthentication(std::int64_t code);

// Linux: the fingerprint daemon (fprintd) and polkit, on the system bus.

// The polkit action of the password approval; packaging/linux ships its policy.
inline constexpr std::string_view polkitApprovalAction = "app.kestrelle.Kestrelle.approve";
// fprintd ends every verification at a match or a no-match and never gives up on its own: a
// finger that does not match may try again, up to this many attempts in all.
inline constexpr int fingerprintAttemptLimit = 3;

// The texts of the app's own fingerprint prompt, under the reason.
inline constexpr std::string_view fingerprintPromptInstruction = "Touch the fingerprint reader.";
inline constexpr std::string_view fingerprintPromptRetry = "No match. Touch the reader again.";
inline constexpr std::string_view fingerprintPromptCancel = "Cancel";

// The outcome an error reply of fprintd, polkit or the bus stands for.
BiometricErrorCode biometricErrorFromDBus(std::string_view errorName);

// The reader while it can verify (`fingerprintRefusal` is none); otherwise, wherever a polkit
// authority runs, the account password that the desktop's agent asks for.
BiometricPolicyState desktopApprovalPolicy(std::optional<BiometricErrorCode> fingerprintRefusal,
                                           bool polkitAuthorityRuns);

// What one VerifyStatus signal of fprintd asks for, after `noMatches` earlier no-matches: keep
// waiting (a bad scan the daemon retries itself), stop and start verifying again, or stop with
// `result`.
struct FingerprintVerifyStep {
    enum class Action { wait, retry, finish };
    Action action = Action::wait;
    BiometricEvaluationResult result;
};
FingerprintVerifyStep fingerprintVerifyStep(std::string_view status, bool done, int noMatches);

// polkit's answer to CheckAuthorization. Not authorized with `challenge` means no agent could
// ask; `dismissed` (the detail "polkit.dismissed") that the user closed the agent's dialog.
BiometricEvaluationResult polkitEvaluationResult(bool authorized, bool challenge, bool dismissed);

} // namespace kestrelle
