#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <xcb/xcb.h>

// Xlib's display, named without Xlib's macros.
typedef struct _XDisplay Display;

namespace kestrelle {

struct MallocFree {
    void operator()(void* block) const { std::free(block); }
};

// A reply or an error that xcb allocated for its caller.
template <class T>
using XcbReply = std::unique_ptr<T, MallocFree>;

// The answer to a request, or none when the server answered with an error. The error is dropped
// here: left to the event queue it would reach Qt's log of X errors.
template <class Reply, class Cookie>
XcbReply<Reply> xcbReply(Reply* (*fetch)(xcb_connection_t*, Cookie, xcb_generic_error_t**),
                         xcb_connection_t* connection, Cookie cookie) {
    xcb_generic_error_t* error = nullptr;
    XcbReply<Reply> reply(fetch(connection, cookie, &error));
    std::free(error);
    return reply;
}

// The atom of `name`, interned if need be; none when the server refuses.
inline xcb_atom_t internAtom(xcb_connection_t* connection, std::string_view name) {
    const auto reply = xcbReply(
        xcb_intern_atom_reply, connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// Qt's own X connection, as Xlib's display and as xcb's connection to the same server, with the
// default screen's root window. The key grab, XTest and the keyboard state go through it.
struct X11Connection {
    Display* display = nullptr;
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = 0;

    // Stops the process when Qt does not run on X11: the program chooses the platform first.
    static X11Connection ofQt();
};

} // namespace kestrelle
