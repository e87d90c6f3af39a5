#pragma once

#include "Invocation/AlertPresenting.h"

namespace kestrelle {

// Under Wayland the X11 edition's key grab, typing and clipboard reach only the applications
// that run on XWayland: the program says so once, at launch, and copying from its menu still
// works.
inline AlertContent xwaylandNotice() {
    return {
        .messageText = "Kestrelle needs an X11 session to type",
        .informativeText = "In this Wayland session the shortcut and typing work only in "
                           "applications that run on XWayland. Choose \"Show Password Picker\" "
                           "in the Kestrelle menu to copy a password instead, or log in to an X11 "
                           "session.",
    };
}

} // namespace kestrelle
