#pragma once

#include "Security/BiometricContext.h"

#include <memory>

namespace kestrelle {

// Makes fresh approval contexts: without a password fallback button, and without the platform
// reusing an earlier unlock on its own (reuse is the secure password service's decision).
// Real: BiometricAuthenticator (macOS adapter), DesktopApprovalAuthenticator (Linux adapter).
// Fake: FakeBiometricContextFactory.
class BiometricContextCreating {
public:
    virtual ~BiometricContextCreating() = default;
    virtual std::shared_ptr<BiometricContext> makeContext() = 0;
};

// A fresh context that can be evaluated now. Otherwise the context is invalidated and
// BiometricAuthenticationError::unavailable is thrown, before any prompt.
std::shared_ptr<BiometricContext> makeApprovalContext(BiometricContextCreating& factory);

} // namespace kestrelle
