#pragma once

// Objective-C++ only: shared by the biometric contexts and the Keychain backend.

#include "Storage/AuthenticationContext.h"

#import <LocalAuthentication/LocalAuthentication.h>

namespace kestrelle {

// An LAContext as the Keychain takes it: a query that carries an approved one needs no prompt.
class LocalAuthenticationSession final : public AuthenticationContext {
  public:
    explicit LocalAuthenticationSession(LAContext *context) : context_(context) {}

    void setInteractionNotAllowed(bool notAllowed) override {
        context_.interactionNotAllowed = notAllowed;
    }
    void invalidate() override { [context_ invalidate]; }
    LAContext *context() const { return context_; }

  private:
    LAContext *context_;
};

} // namespace kestrelle
