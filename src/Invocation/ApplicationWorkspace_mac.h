#pragma once

#include "Invocation/ApplicationWorkspace.h"

namespace kestrelle {

// The shared NSWorkspace's frontmost application.
class NSWorkspaceApplications final : public ApplicationWorkspace {
public:
    std::optional<FrontmostApplication> frontmostApplication() override;
    std::int32_t currentProcessIdentifier() override;
};

} // namespace kestrelle
