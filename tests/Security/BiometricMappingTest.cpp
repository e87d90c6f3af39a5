#include "Security/BiometricAuthenticationError.h"

#include <gtest/gtest.h>
#include <set>

namespace kestrelle {

void PrintTo(const BiometricAuthenticationError& error, std::ostream* out) {
    *out << error.description();
}

namespace {

using Availability = BiometricAvailability;
using Error = BiometricAuthenticationError;

// The availability check and a refused evaluation read the platform's codes alike: only the
// biometry states make `unavailable`; every kind of cancellation, the fallback button included,
// is `cancelled`; anything else fails, or makes biometrics unsupported.
TEST(BiometricMappingTest, PlatformCodesMapToTheFewCasesTheUserSees) {
    const std::set<std::int64_t> cancellations{-2, -3, -4, -9, -10};
    std::set<Availability::State> biometryStates;
    for (std::int64_t value : {-1, -2, -3, -4, -5, -6, -7, -8, -9, -10, -11, -1004, 0, 1}) {
        SCOPED_TRACE(value);
        const auto code = static_cast<BiometricErrorCode>(value);
        const auto availability = Availability::from({false, BiometryType::touchID, code});
        const auto error = Error::fromEvaluationFailure(code);
        if (availability == Availability::unsupported()) {
            EXPECT_EQ(error, cancellations.contains(value) ? Error::cancelled() : Error::failed());
        } else {
            biometryStates.insert(availability.state());
            EXPECT_EQ(error, Error::unavailable(availability));
        }
    }
    EXPECT_EQ(biometryStates.size(), 3U) << "not available, not enrolled, locked out";
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

} // namespace
} // namespace kestrelle
