#pragma once

#include "Invocation/ApplicationActivations.h"

namespace kestrelle {

// The shared workspace's did-activate-application notification, with the running application
// its user info carries.
class WorkspaceApplicationActivations final : public ApplicationActivations {
public:
    [[nodiscard]] Subscription observe(Handler handler) override;
};

} // namespace kestrelle
