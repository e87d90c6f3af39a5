#pragma once

#include "App/SessionInterruptions.h"

namespace kestrelle {

// The workspace's session-resigned-active and will-sleep notifications and the distributed
// "com.apple.screenIsLocked".
class WorkspaceSessionInterruptions final : public SessionInterruptions {
public:
    [[nodiscard]] Subscription observe(std::function<void()> handler) override;
};

} // namespace kestrelle
