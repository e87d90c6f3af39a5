#pragma once

#include "Invocation/ApplicationWorkspace.h"
#include "Invocation/X11FocusedClient_linux.h"

namespace kestrelle {

// The frontmost application is the client window holding the X input focus (X11FocusedClient),
// on Qt's X connection: its _NET_WM_PID, and the class of its WM_CLASS as the bundle identifier.
// A window that sets no _NET_WM_PID is no application. Kestrelle's picker never takes the focus,
// so while it is up the field it was invoked from stays frontmost.
class X11ApplicationWorkspace final : public ApplicationWorkspace {
public:
    // Uses the Qt application object's connection: the application must outlive it.
    X11ApplicationWorkspace();

    std::optional<FrontmostApplication> frontmostApplication() override;
    std::int32_t currentProcessIdentifier() override;

private:
    const X11FocusedClient focused_;
};

} // namespace kestrelle
