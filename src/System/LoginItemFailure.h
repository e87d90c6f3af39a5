#pragma once

#include "System/LoginItemState.h"

#include <string>

namespace kestrelle {

// A register or unregister request that the platform refused.
struct LoginItemFailure {
    std::string message;
    bool requestedEnabled = false;

    // Whether `state` shows that the request took effect after all. Approval pending counts as
    // registered; an item the platform cannot find counts as removed.
    bool isResolvedBy(LoginItemState state) const {
        const bool registered =
            state == LoginItemState::enabled || state == LoginItemState::requiresApproval;
        return registered == requestedEnabled;
    }

    friend bool operator==(const LoginItemFailure&, const LoginItemFailure&) = default;
};

} // namespace kestrelle
