#pragma once

#include "Security/BiometricContextCreating.h"
#include "Support/FakeKeychainBackend.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrelle::test {

// How a fake context answers an evaluation.
enum class FakePromptOutcome {
    approve,
    fail,
    // The prompt stays up until the test approves, fails or invalidates it.
    hold,
};

// A scripted biometric context that behaves like the platform's: invalidating it dismisses a
// prompt that is up as an app cancellation and refuses later evaluations as invalid.
class FakeBiometricContext final : public BiometricContext {
public:
    void invalidate() override {
        ++invalidationCount;
        invalidated = true;
        if (authentication) {
            authentication->invalidate();
        }
        finish({false, BiometricErrorCode::appCancel});
    }

    std::shared_ptr<AuthenticationContext> authenticationContext() override {
        return authentication;
    }

    bool isPromptUp() const { return static_cast<bool>(pendingReply_); }
    void approvePrompt() { finish({true, std::nullopt}); }
    void failPrompt(std::optional<BiometricErrorCode> code) { finish({false, code}); }

    BiometricPolicyState policy{true, BiometryType::touchID, std::nullopt};
    FakePromptOutcome outcome = FakePromptOutcome::approve;
    std::optional<BiometricErrorCode> failureCode = BiometricErrorCode::authenticationFailed;
    // What the Keychain sees; null plays a context without a native session.
    std::shared_ptr<FakeAuthenticationContext> authentication =
        std::make_shared<FakeAuthenticationContext>();

    // The reason of every evaluation, in order.
    std::vector<std::string> reasons;
    bool invalidated = false;
    int invalidationCount = 0;

protected:
    BiometricPolicyState policyState() override { return policy; }

    void evaluatePolicy(const std::string& reason, EvaluationReply reply) override {
        reasons.push_back(reason);
        pendingReply_ = std::move(reply);
        if (invalidated) {
            finish({false, BiometricErrorCode::invalidContext});
            return;
        }
        switch (outcome) {
        case FakePromptOutcome::approve:
            approvePrompt();
            break;
        case FakePromptOutcome::fail:
            failPrompt(failureCode);
            break;
        case FakePromptOutcome::hold:
            break;
        }
    }

private:
    void finish(BiometricEvaluationResult result) {
        if (!pendingReply_) {
            return;
        }
        std::exchange(pendingReply_, nullptr)(result);
    }

    EvaluationReply pendingReply_;
};

// Makes fake contexts that follow the factory's script at the moment they are made, and keeps
// every one of them for inspection.
class FakeBiometricContextFactory final : public BiometricContextCreating {
public:
    std::shared_ptr<BiometricContext> makeContext() override {
        auto context = std::make_shared<FakeBiometricContext>();
        context->policy = policy;
        context->outcome = outcome;
        context->failureCode = failureCode;
        made.push_back(context);
        return context;
    }

    FakeBiometricContext& last() { return *made.back(); }

    BiometricPolicyState policy{true, BiometryType::touchID, std::nullopt};
    FakePromptOutcome outcome = FakePromptOutcome::approve;
    std::optional<BiometricErrorCode> failureCode = BiometricErrorCode::authenticationFailed;
    std::vector<std::shared_ptr<FakeBiometricContext>> made;
};

} // namespace kestrelle::test
