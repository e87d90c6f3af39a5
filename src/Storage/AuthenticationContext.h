#pragma once

namespace kestrelle {

// The platform's record of a biometric approval, as the Keychain takes it with a query: a
// protected item read with an approved context needs no second prompt. A Keychain backend takes
// only contexts of its own platform's type (see KeychainBackend).
// Real: the native session of LocalAuthenticationContext. Fake: FakeAuthenticationContext.
class AuthenticationContext {
public:
    virtual ~AuthenticationContext() = default;

    // When set, a query carrying this context fails instead of showing a prompt of its own.
    virtual void setInteractionNotAllowed(bool notAllowed) = 0;
    // Ends the approval for good: every later query carrying this context fails.
    virtual void invalidate() = 0;
};

} // namespace kestrelle
