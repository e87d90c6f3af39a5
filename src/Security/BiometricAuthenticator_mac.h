#pragma once

#include "Security/BiometricContextCreating.h"

#include <memory>

namespace kestrelle {

// Approval contexts over LocalAuthentication's biometric policy.
std::unique_ptr<BiometricContextCreating> makeLocalAuthenticationContexts();

} // namespace kestrelle
