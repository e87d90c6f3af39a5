#include "Invocation/X11FocusedClient_linux.h"

#include <string_view>

namespace kestrelle {

namespace {

// Deeper nesting than any toolkit uses: a loop in a broken tree ends here.
constexpr int maximumDepth = 32;
// In 32-bit units: WM_CLASS holds two short names.
constexpr std::uint32_t windowClassLength = 128;

} // namespace

X11FocusedClient::X11FocusedClient(xcb_connection_t* connection, xcb_window_t root)
    : connection_(connection), root_(root), wmState_(internAtom(connection, "WM_STATE")),
      netWmPid_(internAtom(connection, "_NET_WM_PID")) {}

std::optional<xcb_window_t> X11FocusedClient::window() const {
    const auto focus =
        xcbReply(xcb_get_input_focus_reply, connection_, xcb_get_input_focus(connection_));
    if (!focus || focus->focus == XCB_NONE || focus->focus == XCB_INPUT_FOCUS_POINTER_ROOT ||
        focus->focus == root_) {
        return std::nullopt;
    }
    auto window = focus->focus;
    for (int depth = 0; depth < maximumDepth; ++depth) {
        // Both asked at once: one round trip per level.
        const auto stateCookie =
            xcb_get_property(connection_, 0, window, wmState_, XCB_GET_PROPERTY_TYPE_ANY, 0, 0);
        const auto treeCookie = xcb_query_tree(connection_, window);
        const auto state = xcbReply(xcb_get_property_reply, connection_, stateCookie);
        const auto tree = xcbReply(xcb_query_tree_reply, connection_, treeCookie);
        if (!state || !tree) {
            return std::nullopt; // the window went away meanwhile
        }
        if (state->type != XCB_ATOM_NONE || tree->parent == root_ || tree->parent == XCB_NONE) {
            return window;
        }
        window = tree->parent;
    }
    return std::nullopt;
}

X11FocusedClient::Identity X11FocusedClient::identity(xcb_window_t window) const {
    // Both asked at once: one round trip.
    const auto pidCookie =
        xcb_get_property(connection_, 0, window, netWmPid_, XCB_ATOM_CARDINAL, 0, 1);
    const auto classCookie = xcb_get_property(connection_, 0, window, XCB_ATOM_WM_CLASS,
                                              XCB_ATOM_STRING, 0, windowClassLength);
    const auto pid = xcbReply(xcb_get_property_reply, connection_, pidCookie);
    const auto names = xcbReply(xcb_get_property_reply, connection_, classCookie);
    Identity identity;
    if (pid && pid->format == 32 && xcb_get_property_value_length(pid.get()) == 4) {
        identity.processIdentifier =
            *static_cast<const std::int32_t*>(xcb_get_property_value(pid.get()));
    }
    if (names && names->format == 8) {
        // "instance\0class\0"
        const std::string_view value(
            static_cast<const char*>(xcb_get_property_value(names.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(names.get())));
        if (const auto afterInstance = value.find('\0'); afterInstance != std::string_view::npos) {
            auto windowClass = value.substr(afterInstance + 1);
            windowClass = windowClass.substr(0, windowClass.find('\0'));
            if (!windowClass.empty()) {
                identity.windowClass = std::string(windowClass);
            }
        }
    }
    return identity;
}

} // namespace kestrelle
