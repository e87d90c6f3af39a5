#include "Invocation/ApplicationActivations_linux.h"

#include "Runtime/Logger.h"

// Xlib's macros clash with Qt's names: Xlib comes last.
#include <X11/Xlib.h>

namespace kestrelle {

namespace {

const Logger logger{"Activations"};

xcb_connection_t* connectLikeQt() {
    return xcb_connect(DisplayString(X11Connection::ofQt().display), nullptr);
}

// Whether the focus may have moved to another window: it came into one, or a window appeared
// that may have taken it before its focus events were asked for.
bool mayMoveFocus(const xcb_generic_event_t& event) {
    const auto type = event.response_type & 0x7F;
    return type == XCB_FOCUS_IN || type == XCB_MAP_NOTIFY;
}

} // namespace

X11ApplicationActivations::X11ApplicationActivations()
    : connection_(connectLikeQt()), root_(X11Connection::ofQt().root),
      focused_(connection_.get(), root_) {
    auto* connection = connection_.get();
    if (xcb_connection_has_error(connection)) {
        logger.error("Could not connect to the X server: no activations are reported");
        return;
    }
    const std::uint32_t rootEvents = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, root_, XCB_CW_EVENT_MASK, &rootEvents);
    if (const auto tree =
            xcbReply(xcb_query_tree_reply, connection, xcb_query_tree(connection, root_))) {
        const auto* children = xcb_query_tree_children(tree.get());
        for (int index = 0; index < xcb_query_tree_children_length(tree.get()); ++index) {
            watchFocus(children[index]);
        }
    }
    active_ = focused_.window();
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection),
                                                  QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { receive(); });
    // Events that arrived with the replies above are queued already: no read will announce them.
    receive();
}

X11ApplicationActivations::~X11ApplicationActivations() = default;

Subscription X11ApplicationActivations::observe(Handler handler) {
    return activated_.subscribe(std::move(handler));
}

void X11ApplicationActivations::receive() {
    auto* connection = connection_.get();
    for (;;) {
        bool focusMayHaveMoved = false;
        while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
            if ((event->response_type & 0x7F) == XCB_CREATE_NOTIFY) {
                const auto* created =
                    reinterpret_cast<const xcb_create_notify_event_t*>(event.get());
                watchFocus(created->window);
            }
            focusMayHaveMoved = focusMayHaveMoved || mayMoveFocus(*event);
        }
        if (xcb_connection_has_error(connection)) {
            logger.error("Lost the connection to the X server: no more activations are reported");
            notifier_->setEnabled(false);
            return;
        }
        if (!focusMayHaveMoved) {
            return;
        }
        // Its round trips may queue further events, read on the next pass.
        reportFocusedClient();
    }
}

void X11ApplicationActivations::watchFocus(xcb_window_t window) {
    // Unchecked: a window already gone answers with an error event, which is dropped.
    const std::uint32_t events = XCB_EVENT_MASK_FOCUS_CHANGE;
    xcb_change_window_attributes(connection_.get(), window, XCB_CW_EVENT_MASK, &events);
    xcb_flush(connection_.get());
}

void X11ApplicationActivations::reportFocusedClient() {
    const auto window = focused_.window();
    if (!window || window == active_) {
        return;
    }
    active_ = window;
    const auto identity = focused_.identity(*window);
    activated_.emit(identity.processIdentifier, identity.windowClass);
}

} // namespace kestrelle
