#include "Security/BiometricAuthenticator_mac.h"

#include "Security/BiometricPlatformMapping.h"
#include "Storage/AuthenticationContext_mac.h"

#import <Foundation/Foundation.h>
#import <LocalAuthentication/LocalAuthentication.h>

namespace kestrelle {

namespace {

std::optional<BiometricErrorCode> errorOf(NSError *error) {
    if (error == nil || ![error.domain isEqualToString:LAErrorDomain]) {
        return std::nullopt;
    }
    return biometricErrorFromLocalAuthentication(error.code);
}

class LocalAuthenticationContext final : public BiometricContext {
  public:
    LocalAuthenticationContext() : context_([[LAContext alloc] init]) {
        context_.localizedFallbackTitle = @"";
        context_.touchIDAuthenticationAllowableReuseDuration = 0;
    }
    ~LocalAuthenticationContext() override { [context_ invalidate]; }

    void invalidate() override { [context_ invalidate]; }

    std::shared_ptr<AuthenticationContext> authenticationContext() override {
        return std::make_shared<LocalAuthenticationSession>(context_);
    }

  protected:
    BiometricPolicyState policyState() override {
        NSError *error = nil;
        const BOOL canEvaluate =
            [context_ canEvaluatePolicy:LAPolicyDeviceOwnerAuthenticationWithBiometrics
                                  error:&error];
        // The biometry type is known only once the policy was asked about.
        return {.canEvaluate = canEvaluate == YES,
                .kind = biometricKindFromLocalAuthentication(context_.biometryType),
                .error = errorOf(error)};
    }

    void evaluatePolicy(const std::string &reason, EvaluationReply reply) override {
        // The reply comes on a private queue: the block holds copies only, never `this`.
        const auto kind = biometricKindFromLocalAuthentication(context_.biometryType);
        [context_
             evaluatePolicy:LAPolicyDeviceOwnerAuthenticationWithBiometrics
            localizedReason:[[NSString alloc] initWithBytes:reason.data()
                                                     length:reason.size()
                                                   encoding:NSUTF8StringEncoding]
                      reply:^(BOOL success, NSError *error) {
                          reply(
                              {.approved = success == YES, .error = errorOf(error), .kind = kind});
                      }];
    }

  private:
    LAContext *context_;
};

class LocalAuthenticationContexts final : public BiometricContextCreating {
  public:
    std::shared_ptr<BiometricContext> makeContext() override {
        return std::make_shared<LocalAuthenticationContext>();
    }
};

} // namespace

std::unique_ptr<BiometricContextCreating> makeLocalAuthenticationContexts() {
    return std::make_unique<LocalAuthenticationContexts>();
}

} // namespace kestrelle
