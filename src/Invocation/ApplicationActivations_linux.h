#pragma once

#include "Invocation/ApplicationActivations.h"
#include "Invocation/X11FocusedClient_linux.h"

#include <QSocketNotifier>
#include <memory>
#include <optional>

namespace kestrelle {

// Reports each change of the client window holding the X input focus (X11FocusedClient) with its
// _NET_WM_PID and the class of its WM_CLASS; a move of the focus to no client reports nothing.
// It watches focus changes on every child of the root window (a top-level window, or a window
// manager's frame around one), so it needs no window manager. An event mask set on a window
// replaces the one the same connection set before, so these masks live on an X connection of the
// watch's own, read on the main thread: on Qt's they would overwrite Qt's masks on the root window
// and on Qt's own windows, and feed Qt every window's structure events.
class X11ApplicationActivations final : public ApplicationActivations {
public:
    // Connects to the display Qt uses and reads on its event loop: the Qt application must
    // outlive it.
    X11ApplicationActivations();
    X11ApplicationActivations(const X11ApplicationActivations&) = delete;
    X11ApplicationActivations& operator=(const X11ApplicationActivations&) = delete;
    ~X11ApplicationActivations() override;

    [[nodiscard]] Subscription observe(Handler handler) override;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    void receive();
    void watchFocus(xcb_window_t window);
    void reportFocusedClient();

    const std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    const xcb_window_t root_;
    const X11FocusedClient focused_;
    std::optional<xcb_window_t> active_;
    Signal<std::optional<std::int32_t>, std::optional<std::string>> activated_;
    // Last, so it stops before the connection closes.
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace kestrelle
