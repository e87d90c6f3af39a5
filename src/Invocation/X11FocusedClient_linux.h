#pragma once

#include "Runtime/X11Connection_linux.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kestrelle {

// The client window that holds the X input focus, on one X connection: the focus window or its
// nearest ancestor carrying WM_STATE (the window a window manager manages), or without a window
// manager the ancestor that is a child of the root window. No focus, PointerRoot focus or a focus
// on the root window is no client.
class X11FocusedClient {
public:
    X11FocusedClient(xcb_connection_t* connection, xcb_window_t root);

    // What a client window says of its application.
    struct Identity {
        // Its _NET_WM_PID.
        std::optional<std::int32_t> processIdentifier;
        // The class part of its WM_CLASS ("Gedit" of "gedit\0Gedit"), which names the
        // application as a bundle identifier does on macOS; none when missing or empty.
        std::optional<std::string> windowClass;
    };

    std::optional<xcb_window_t> window() const;
    Identity identity(xcb_window_t window) const;

private:
    xcb_connection_t* connection_;
    xcb_window_t root_;
    xcb_atom_t wmState_;
    xcb_atom_t netWmPid_;
};

} // namespace kestrelle
