#pragma once

#include "Runtime/KestrelleError.h"
#include "Security/BiometricAvailability.h"
#include "Security/BiometricErrorCode.h"

#include <optional>

namespace kestrelle {

class BiometricAuthenticationError : public KestrelleError {
public:
    enum class Kind { unavailable, cancelled, failed, invalidSession, expired };

    static BiometricAuthenticationError unavailable(BiometricAvailability availability);
    static BiometricAuthenticationError cancelled();
    static BiometricAuthenticationError failed();
    // An approval that is unknown, replaced, mismatched or already spent.
    static BiometricAuthenticationError invalidSession();
    static BiometricAuthenticationError expired();

    // The error for a refused evaluation. `code` is none when the platform gave no error or one
    // the mapping does not name; `kind` is the kind that refused, when the platform said.
    static BiometricAuthenticationError
    fromEvaluationFailure(std::optional<BiometricErrorCode> code,
                          std::optional<BiometricKind> kind = std::nullopt);

    Kind kind() const { return kind_; }
    // Set for `unavailable` only.
    std::optional<BiometricAvailability> availability() const { return availability_; }

    friend bool operator==(const BiometricAuthenticationError& a,
                           const BiometricAuthenticationError& b) {
        return a.kind_ == b.kind_ && a.availability_ == b.availability_;
    }

private:
    BiometricAuthenticationError(Kind kind, std::string description,
                                 std::optional<BiometricAvailability> availability = std::nullopt);

    Kind kind_;
    std::optional<BiometricAvailability> availability_;
};

} // namespace kestrelle
