#pragma once

#include "Security/BiometricErrorCode.h"
#include "Security/BiometricKind.h"

#include <cstdint>
#include <optional>

namespace kestrelle {

// The platform's sensor type, with LocalAuthentication's values; other values may arrive.
enum class BiometryType : std::int64_t { none = 0, touchID = 1, faceID = 2 };

// The platform's answer to whether the biometrics-only policy can be evaluated now.
struct BiometricPolicyState {
    bool canEvaluate = false;
    BiometryType biometryType = BiometryType::none;
    // The code of the error that came with a refusal, if any.
    std::optional<BiometricErrorCode> error;
};

// Whether biometric approval can be asked for on this Mac, and with which sensor.
class BiometricAvailability {
public:
    enum class State { available, notEnrolled, lockedOut, unavailable, unsupported };

    static constexpr BiometricAvailability available(BiometricKind kind) {
        return {State::available, kind};
    }
    static constexpr BiometricAvailability notEnrolled() { return {State::notEnrolled}; }
    static constexpr BiometricAvailability lockedOut() { return {State::lockedOut}; }
    static constexpr BiometricAvailability unavailable() { return {State::unavailable}; }
    static constexpr BiometricAvailability unsupported() { return {State::unsupported}; }

    static BiometricAvailability from(const BiometricPolicyState& policy);

    State state() const { return state_; }
    bool isAvailable() const { return state_ == State::available; }
    // The sensor, when available.
    std::optional<BiometricKind> kind() const { return kind_; }

    friend bool operator==(const BiometricAvailability&, const BiometricAvailability&) = default;

private:
    constexpr BiometricAvailability(State state, std::optional<BiometricKind> kind = std::nullopt)
        : state_(state), kind_(kind) {}

    State state_;
    std::optional<BiometricKind> kind_;
};

} // namespace kestrelle
