#include "Security/BiometricAuthenticationError.h"
#include "Support/FakeBiometrics.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

namespace kestrelle {

void PrintTo(const BiometricAuthenticationError& error, std::ostream* out) {
    *out << error.description();
}

namespace {

using Availability = BiometricAvailability;
using Error = BiometricAuthenticationError;

// The availability check and a refused evaluation read the platform's codes alike: only the
// three biometry states make `unavailable`; every kind of cancellation, the fallback button
// included, is `cancelled`; anything else fails, or makes biometrics unsupported.
TEST(BiometricMappingTest, PlatformCodesMapToTheFewCasesTheUserSees) {
    const std::set<std::int64_t> cancellations{-2, -3, -4, -9, -10};
    const std::map<std::int64_t, Availability> biometryStates{{-6, Availability::unavailable()},
                                                              {-7, Availability::notEnrolled()},
                                                              {-8, Availability::lockedOut()}};
    for (std::int64_t value : {-1, -2, -3, -4, -5, -6, -7, -8, -9, -10, -11, -1004, 0, 1}) {
        SCOPED_TRACE(value);
        const auto code = static_cast<BiometricErrorCode>(value);
        const auto availability = Availability::from({false, BiometryType::touchID, code});
        const auto error = Error::fromEvaluationFailure(code);
        if (const auto state = biometryStates.find(value); state != biometryStates.end()) {
            EXPECT_EQ(availability, state->second);
            EXPECT_EQ(error, Error::unavailable(state->second));
        } else {
            EXPECT_EQ(availability, Availability::unsupported());
            EXPECT_EQ(error, cancellations.contains(value) ? Error::cancelled() : Error::failed());
        }
    }
    EXPECT_EQ(Error::fromEvaluationFailure(std::nullopt), Error::failed());
    EXPECT_EQ(Availability::from({false, BiometryType::touchID, std::nullopt}),
              Availability::unsupported());
    // An evaluable policy names its sensor; none, or one this code does not know, is unsupported.
    EXPECT_EQ(Availability::from({true, BiometryType::faceID, std::nullopt}),
              Availability::available(BiometricKind::faceID));
    EXPECT_EQ(Availability::from({true, BiometryType::touchID, std::nullopt}).kind(),
              BiometricKind::touchID);
    for (auto type : {BiometryType::none, static_cast<BiometryType>(4)}) {
        EXPECT_EQ(Availability::from({true, type, std::nullopt}), Availability::unsupported());
    }
}

TEST(BiometricContextTest, TheReplyResumesTheEvaluationFromTheQueueAsApprovalOrTypedError) {
    test::ManualExecutor executor;
    test::FakeBiometricContext context;
    context.outcome = test::FakePromptOutcome::hold;
    test::TaskProbe<void> approved(executor, context.evaluate("Reason."));
    executor.runUntilIdle();
    EXPECT_EQ(context.reasons, std::vector<std::string>{"Reason."});
    context.approvePrompt();
    EXPECT_FALSE(approved.finished()) << "not inside the platform's reply";
    executor.runUntilIdle();
    EXPECT_TRUE(approved.succeeded());

    test::TaskProbe<void> refused(executor, context.evaluate("Reason."));
    executor.runUntilIdle();
    context.failPrompt(BiometricErrorCode::userFallback);
    executor.runUntilIdle();
    ASSERT_TRUE(refused.threw<Error>());
    try {
        std::rethrow_exception(refused.error());
    } catch (const Error& error) {
        EXPECT_EQ(error, Error::cancelled()) << "the fallback button counts as a cancellation";
    }
}

} // namespace
} // namespace kestrelle
