#include "Security/BiometricAuthenticationError.h"
#include "Security/BiometricContextCreating.h"
#include "Support/FakeBiometrics.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>

namespace kestrelle {

void PrintTo(const BiometricAuthenticationError& error, std::ostream* out) {
    *out << error.description();
}

namespace {

using test::FakeBiometricContext;
using test::FakeBiometricContextFactory;
using test::FakePromptOutcome;
using test::ManualExecutor;
using test::TaskProbe;
using Error = BiometricAuthenticationError;

std::optional<Error> errorOf(const TaskProbe<void>& probe) {
    try {
        std::rethrow_exception(probe.error());
    } catch (const Error& error) {
        return error;
    } catch (...) {
        return std::nullopt;
    }
}

class BiometricContextTest : public testing::Test {
protected:
    TaskProbe<void> evaluate(std::string reason = std::string(invocationApprovalReason)) {
        return TaskProbe<void>(executor, context.evaluate(std::move(reason)));
    }

    ManualExecutor executor;
    FakeBiometricContext context;
};

TEST_F(BiometricContextTest, ApprovalCompletesFromTheQueueNotInsideTheReply) {
    context.outcome = FakePromptOutcome::hold;
    auto probe = evaluate(std::string(settingsApprovalReason));
    executor.runUntilIdle();
    ASSERT_TRUE(context.isPromptUp());
    EXPECT_EQ(context.reasons,
              std::vector<std::string>{"Authorize this password settings change."});

    context.approvePrompt();
    EXPECT_FALSE(probe.finished());
    executor.runUntilIdle();
    EXPECT_TRUE(probe.succeeded());
}

TEST_F(BiometricContextTest, RefusalsBecomeTypedErrors) {
    context.outcome = FakePromptOutcome::fail;
    const std::pair<std::optional<BiometricErrorCode>, Error> cases[] = {
        {BiometricErrorCode::userCancel, Error::cancelled()},
        {BiometricErrorCode::biometryLockout,
         Error::unavailable(BiometricAvailability::lockedOut())},
        {BiometricErrorCode::authenticationFailed, Error::failed()},
        {std::nullopt, Error::failed()},
    };
    for (const auto& [code, expected] : cases) {
        context.failureCode = code;
        auto probe = evaluate();
        executor.runUntilIdle();
        EXPECT_EQ(errorOf(probe), expected);
    }
}

TEST_F(BiometricContextTest, InvalidatingEndsAPromptThatIsUpAndLaterEvaluationsAsCancelled) {
    context.outcome = FakePromptOutcome::hold;
    auto pending = evaluate();
    executor.runUntilIdle();
    context.invalidate();
    executor.runUntilIdle();
    EXPECT_EQ(errorOf(pending), Error::cancelled());
    EXPECT_EQ(context.authentication->invalidationCount, 1);

    context.outcome = FakePromptOutcome::approve;
    auto later = evaluate();
    executor.runUntilIdle();
    EXPECT_EQ(errorOf(later), Error::cancelled());
}

TEST(ApprovalContextTest, AnUnusableContextIsInvalidatedBeforeAnyPrompt) {
    FakeBiometricContextFactory factory;
    factory.policy = {false, BiometryType::touchID, BiometricErrorCode::biometryNotEnrolled};
    try {
        makeApprovalContext(factory);
        ADD_FAILURE() << "expected the context to be refused";
    } catch (const Error& error) {
        EXPECT_EQ(error, Error::unavailable(BiometricAvailability::notEnrolled()));
        EXPECT_EQ(error.description(),
                  "Set up Touch ID or Face ID in System Settings before using passwords.");
    }
    ASSERT_EQ(factory.made.size(), 1U);
    EXPECT_TRUE(factory.last().invalidated);
    EXPECT_TRUE(factory.last().reasons.empty());

    factory.policy = {true, BiometryType::faceID, std::nullopt};
    const auto usable = makeApprovalContext(factory);
    EXPECT_EQ(usable, factory.made.back());
    EXPECT_EQ(usable->availability(), BiometricAvailability::available(BiometricKind::faceID));
    EXPECT_FALSE(factory.last().invalidated);
}

} // namespace
} // namespace kestrelle
