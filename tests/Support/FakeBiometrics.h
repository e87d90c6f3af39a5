#pragma once

#include "Security/BiometricContextCreating.h"
#include "Support/FakeKeychainBackend.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kestrelle::test {

// How a fake context answers an evaluation; with `hold` the prompt stays up until the test
// approves, fails or invalidates it.
enum class FakePromptOutcome { approve, fail, hold };

// What a fake context answers.
struct FakeBiometricScript {
    BiometricPolicyState policy{true, BiometricKind::touchID, std::nullopt};
    FakePromptOutcome outcome = FakePromptOutcome::approve;
};

// A scripted biometric context that behaves like the platform's: invalidating it dismisses a
// prompt that is up as an app cancellation and refuses later evaluations as invalid.
class FakeBiometricContext final : public BiometricContext, public FakeBiometricScript {
public:
    void invalidate() override {
        invalidated = true;
        authentication->invalidate();
        finish(false, BiometricErrorCode::appCancel);
    }
    std::shared_ptr<AuthenticationContext> authenticationContext() override {
        return authentication;
    }

    bool isPromptUp() const { return static_cast<bool>(pendingReply_); }
    void approvePrompt() { finish(true, std::nullopt); }
    void failPrompt(std::optional<BiometricErrorCode> code) { finish(false, code); }

    // What the Keychain sees.
    std::shared_ptr<FakeAuthenticationContext> authentication =
        std::make_shared<FakeAuthenticationContext>();
    std::vector<std::string> reasons; // of every evaluation, in order
    bool invalidated = false;

protected:
    BiometricPolicyState policyState() override { return policy; }
    void evaluatePolicy(const std::string& reason, EvaluationReply reply) override {
        reasons.push_back(reason);
        pendingReply_ = std::move(reply);
        if (invalidated) {
            finish(false, BiometricErrorCode::appCancel);
        } else if (outcome == FakePromptOutcome::approve) {
            approvePrompt();
        } else if (outcome == FakePromptOutcome::fail) {
            failPrompt(BiometricErrorCode::authenticationFailed);
        }
    }

private:
    void finish(bool approved, std::optional<BiometricErrorCode> error) {
        if (pendingReply_) {
            std::exchange(pendingReply_, nullptr)({approved, error, std::nullopt});
        }
    }

    EvaluationReply pendingReply_;
};

// Makes fake contexts that follow the factory's script at the moment they are made, and keeps
// every one of them for inspection.
class FakeBiometricContextFactory final : public BiometricContextCreating,
                                          public FakeBiometricScript {
public:
    std::shared_ptr<BiometricContext> makeContext() override {
        auto context = made.emplace_back(std::make_shared<FakeBiometricContext>());
        static_cast<FakeBiometricScript&>(*context) = *this;
        return context;
    }
    FakeBiometricContext& last() { return *made.back(); }

    std::vector<std::shared_ptr<FakeBiometricContext>> made;
};

} // namespace kestrelle::test
