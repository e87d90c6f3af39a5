#include "Security/BiometricContext.h"

#include "Runtime/OneShotContinuation.h"
#include "Security/BiometricAuthenticationError.h"

namespace kestrelle {

Task<void> BiometricContext::evaluate(std::string reason) {
    const auto result = co_await withContinuation<BiometricEvaluationResult>(
        [&](OneShotContinuation<BiometricEvaluationResult> done) {
            evaluatePolicy(reason, [done](BiometricEvaluationResult reply) { done.resume(reply); });
        });
    if (!result.approved) {
        throw BiometricAuthenticationError::fromEvaluationFailure(result.error, result.kind);
    }
}

} // namespace kestrelle
