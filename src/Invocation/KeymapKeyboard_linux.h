#pragma once

#include "Invocation/KeymapKeyboard.h"
#include "Invocation/X11FocusedClient_linux.h"
#include "Runtime/X11Connection_linux.h"

#include <QSocketNotifier>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace kestrelle {

// The keyboard of the X server, through XTest and XKB on Qt's X connection:
// - keymap: the core keyboard mapping, with group 1's first two levels as a key's unshifted and
//   shifted symbols; a symbol in any other column (group 2, level 3 and above) is boundElsewhere;
// - currentModifierFlags: XKB's effective modifier state (held, latched or locked) of the core
//   keyboard, Shift, Control, Mod1 and Mod4 as Shift, Control, Alt and Super. Caps Lock and Num
//   Lock are not among them. When the state cannot be read every modifier counts as held;
// - capsLockLocked: whether XKB's locked modifiers of the core keyboard hold Lock (Caps Lock),
//   false when the state cannot be read;
// - lockCapsLock: XkbLockModifiers on the core keyboard's Lock modifier, sent at once;
// - postKey: an XTest key event, sent at once;
// - bindKey: the core mapping of one key code changed to the symbol at both levels of group 1,
//   or to no symbol at all, sent at once. Every client, Qt included, reloads its keymap when it
//   next handles a key;
// - askWhenKeysHandled: _NET_WM_PING sent to the focused client window once the server has
//   passed it the keys, where its WM_PROTOCOLS take it. Clients handle their events in order and
//   answer a ping when they reach it, to the root window: the answer comes in on a connection of
//   the keyboard's own, which alone watches the root window's structure (Qt's must not).
class X11KeymapKeyboard final : public KeymapKeyboard {
public:
    // Uses the Qt application object's connection: the application must outlive it.
    X11KeymapKeyboard();
    X11KeymapKeyboard(const X11KeymapKeyboard&) = delete;
    X11KeymapKeyboard& operator=(const X11KeymapKeyboard&) = delete;
    ~X11KeymapKeyboard() override;

    Keymap keymap() override;
    std::uint64_t currentModifierFlags() override;
    bool capsLockLocked() override;
    void lockCapsLock(bool locked) override;
    void postKey(KeyCode keyCode, bool down) override;
    void bindKey(KeyCode keyCode, std::optional<Keysym> keysym) override;
    bool askWhenKeysHandled(std::function<void()> handled) override;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    bool takesPing(xcb_window_t window);
    void receiveAnswers();

    Display* const display_;
    const X11FocusedClient focused_;
    const std::unique_ptr<xcb_connection_t, Disconnect> answers_;
    xcb_atom_t wmProtocols_ = XCB_ATOM_NONE;
    xcb_atom_t netWmPing_ = XCB_ATOM_NONE;
    // The last window asked about, and whether it takes pings.
    std::optional<std::pair<xcb_window_t, bool>> lastWindow_;
    std::uint32_t nextPing_ = 1;
    std::vector<std::pair<std::uint32_t, std::function<void()>>> waiting_;
    // Last, so it stops before the connection closes.
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace kestrelle
