#pragma once

#include "Security/BiometricErrorCode.h"
#include "Security/BiometricKind.h"

#include <optional>

namespace kestrelle {

// The platform's answer to whether an approval can be asked for now.
struct BiometricPolicyState {
    bool canEvaluate = false;
    // The kind that approves, or that a refusal is about; none when the platform names no
    // supported one.
    std::optional<BiometricKind> kind;
    // Why it cannot, when the platform said.
    std::optional<BiometricErrorCode> error;
};

// Whether approval can be asked for on this computer, and of which kind.
class BiometricAvailability {
public:
    enum class State { available, notEnrolled, lockedOut, unavailable, unsupported };

    static constexpr BiometricAvailability available(BiometricKind kind) {
        return {State::available, kind};
    }
    // `kind` names what the refusal is about, when the platform said.
    static constexpr BiometricAvailability
    notEnrolled(std::optional<BiometricKind> kind = std::nullopt) {
        return {State::notEnrolled, kind};
    }
    static constexpr BiometricAvailability
    lockedOut(std::optional<BiometricKind> kind = std::nullopt) {
        return {State::lockedOut, kind};
    }
    static constexpr BiometricAvailability
    unavailable(std::optional<BiometricKind> kind = std::nullopt) {
        return {State::unavailable, kind};
    }
    static constexpr BiometricAvailability
    unsupported(std::optional<BiometricKind> kind = std::nullopt) {
        return {State::unsupported, kind};
    }

    static BiometricAvailability from(const BiometricPolicyState& policy);

    State state() const { return state_; }
    bool isAvailable() const { return state_ == State::available; }
    // The kind in force: the one that approves when available, otherwise the one the refusal
    // is about, if the platform named it. The texts shown for the state follow it.
    std::optional<BiometricKind> kind() const { return kind_; }

    friend bool operator==(const BiometricAvailability&, const BiometricAvailability&) = default;

private:
    constexpr BiometricAvailability(State state, std::optional<BiometricKind> kind)
        : state_(state), kind_(kind) {}

    State state_;
    std::optional<BiometricKind> kind_;
};

} // namespace kestrelle
