#include "Security/BiometricAuthenticationError.h"

#include <gtest/gtest.h>

namespace kestrelle {

void PrintTo(const BiometricAuthenticationError& error, std::ostream* out) {
    *out << error.description();
}

namespace {

using Availability = BiometricAvailability;
using Error = BiometricAuthenticationError;

// Biometry states make `unavailable`, every kind of cancellation `cancelled`, anything else fails.
TEST(BiometricMappingTest, PlatformCodesMapToTheFewCasesTheUserSees) {
    const auto notEnrolled = BiometricErrorCode::biometryNotEnrolled;
    EXPECT_EQ(Availability::from({false, BiometryType::touchID, notEnrolled}),
              Availability::notEnrolled());
    EXPECT_EQ(Error::fromEvaluationFailure(notEnrolled),
              Error::unavailable(Availability::notEnrolled()));
    EXPECT_EQ(Error::fromEvaluationFailure(BiometricErrorCode::appCancel), Error::cancelled());
    EXPECT_EQ(Error::fromEvaluationFailure(std::nullopt), Error::failed());
    EXPECT_EQ(Availability::from({true, BiometryType::faceID, std::nullopt}),
              Availability::available(BiometricKind::faceID));
    EXPECT_EQ(Availability::from({true, BiometryType::none, std::nullopt}),
              Availability::unsupported());
}

} // namespace
} // namespace kestrelle
