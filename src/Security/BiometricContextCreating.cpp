#include "Security/BiometricContextCreating.h"

#include "Security/BiometricAuthenticationError.h"

namespace kestrelle {

std::shared_ptr<BiometricContext> makeApprovalContext(BiometricContextCreating& factory) {
    auto context = factory.makeContext();
    const auto availability = context->availability();
    if (!availability.isAvailable()) {
        context->invalidate();
        throw BiometricAuthenticationError::unavailable(availability);
    }
    return context;
}

} // namespace kestrelle
