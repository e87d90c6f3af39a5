#include "Security/BiometricAuthenticationError.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using Availability = BiometricAvailability;
using Error = BiometricAuthenticationError;

BiometricErrorCode code(std::int64_t value) {
    return static_cast<BiometricErrorCode>(value);
}

TEST(BiometricAvailabilityTest, AnEvaluablePolicyNamesItsSensor) {
    EXPECT_EQ(Availability::from({true, BiometryType::touchID, std::nullopt}),
              Availability::available(BiometricKind::touchID));
    EXPECT_EQ(Availability::from({true, BiometryType::faceID, std::nullopt}),
              Availability::available(BiometricKind::faceID));
    // No sensor, or one this code does not know (such as a later platform's new type).
    for (auto type : {BiometryType::none, static_cast<BiometryType>(4)}) {
        EXPECT_EQ(Availability::from({true, type, std::nullopt}), Availability::unsupported());
    }
    EXPECT_NE(Availability::available(BiometricKind::touchID),
              Availability::available(BiometricKind::faceID));
}

TEST(BiometricAvailabilityTest, ARefusalIsMappedByItsErrorCode) {
    EXPECT_EQ(Availability::from({false, BiometryType::touchID, code(-8)}),
              Availability::lockedOut());
    EXPECT_EQ(Availability::from({false, BiometryType::touchID, code(-7)}),
              Availability::notEnrolled());
    EXPECT_EQ(Availability::from({false, BiometryType::none, code(-6)}),
              Availability::unavailable());
    for (std::int64_t other : {-1, -2, -3, -4, -5, -9, -10, -11, -1004, 0, 7}) {
        SCOPED_TRACE(other);
        EXPECT_EQ(Availability::from({false, BiometryType::touchID, code(other)}),
                  Availability::unsupported());
    }
    EXPECT_EQ(Availability::from({false, BiometryType::touchID, std::nullopt}),
              Availability::unsupported());
}

TEST(BiometricAuthenticationErrorTest, EveryEvaluationCodeMapsAsTabled) {
    for (std::int64_t cancel : {-2, -3, -4, -9, -10}) {
        SCOPED_TRACE(cancel);
        EXPECT_EQ(Error::fromEvaluationFailure(code(cancel)), Error::cancelled());
    }
    EXPECT_EQ(Error::fromEvaluationFailure(code(-6)),
              Error::unavailable(Availability::unavailable()));
    EXPECT_EQ(Error::fromEvaluationFailure(code(-7)),
              Error::unavailable(Availability::notEnrolled()));
    EXPECT_EQ(Error::fromEvaluationFailure(code(-8)),
              Error::unavailable(Availability::lockedOut()));
    for (std::int64_t other : {-1, -5, -11, -12, -1000, -1004, 0, 1}) {
        SCOPED_TRACE(other);
        EXPECT_EQ(Error::fromEvaluationFailure(code(other)), Error::failed());
    }
    EXPECT_EQ(Error::fromEvaluationFailure(std::nullopt), Error::failed());
}

TEST(BiometricAuthenticationErrorTest, Descriptions) {
    EXPECT_EQ(Error::unavailable(Availability::notEnrolled()).description(),
              "Set up Touch ID or Face ID in System Settings before using passwords.");
    EXPECT_EQ(Error::unavailable(Availability::lockedOut()).description(),
              "Biometrics are locked. Restore biometric access through macOS, then try again.");
    for (auto availability : {Availability::unavailable(), Availability::unsupported()}) {
        EXPECT_EQ(Error::unavailable(availability).description(),
                  "This Mac does not currently provide supported biometric authentication.");
    }
    EXPECT_EQ(Error::unavailable(Availability::available(BiometricKind::faceID)).description(),
              "Biometric authentication is unavailable.");
    EXPECT_EQ(Error::cancelled().description(), "Biometric authentication was cancelled.");
    EXPECT_EQ(Error::failed().description(), "Biometric authentication did not succeed.");
    EXPECT_EQ(Error::invalidSession().description(),
              "This authorization is no longer valid. Start again.");
    EXPECT_EQ(Error::expired().description(), "This authorization expired. Start again.");

    EXPECT_NE(Error::unavailable(Availability::unavailable()),
              Error::unavailable(Availability::unsupported()));
    EXPECT_EQ(Error::unavailable(Availability::lockedOut()).availability(),
              Availability::lockedOut());
}

} // namespace
} // namespace kestrelle
