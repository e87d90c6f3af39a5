#include "Invocation/KeymapKeyboard_linux.h"

#include "Runtime/Logger.h"
#include "Runtime/ModifierFlags.h"
#include "Runtime/X11Key.h"

// Xlib's macros clash with Qt's names: Xlib comes last.
#include <X11/XKBlib.h>
#include <X11/extensions/XTest.h>
#include <algorithm>

namespace kestrelle {

namespace {

const Logger logger{"Keyboard"};

struct XlibFree {
    void operator()(void* data) const { XFree(data); }
};

} // namespace

X11KeymapKeyboard::X11KeymapKeyboard()
    : display_(X11Connection::ofQt().display),
      focused_(X11Connection::ofQt().connection, X11Connection::ofQt().root),
      answers_(xcb_connect(DisplayString(display_), nullptr)) {
    auto* connection = answers_.get();
    if (xcb_connection_has_error(connection)) {
        logger.error("Could not connect to the X server: keys are paced, not acknowledged");
        return;
    }
    wmProtocols_ = internAtom(connection, "WM_PROTOCOLS");
    netWmPing_ = internAtom(connection, "_NET_WM_PING");
    // GTK answers pings to the root window's substructure, Qt to its structure.
    const std::uint32_t rootEvents =
        XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, X11Connection::ofQt().root, XCB_CW_EVENT_MASK,
                                 &rootEvents);
    xcb_flush(connection);
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection),
                                                  QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { receiveAnswers(); });
}

X11KeymapKeyboard::~X11KeymapKeyboard() = default;

KeymapKeyboard::Keymap X11KeymapKeyboard::keymap() {
    int first = 0;
    int last = 0;
    XDisplayKeycodes(display_, &first, &last);
    int perKeyCode = 0;
    const std::unique_ptr<KeySym, XlibFree> keysyms(XGetKeyboardMapping(
        display_, static_cast<::KeyCode>(first), last - first + 1, &perKeyCode));
    Keymap keymap{.firstKeyCode = static_cast<KeyCode>(first), .keys = {}};
    if (!keysyms || perKeyCode <= 0) {
        return keymap;
    }
    const auto columns = static_cast<std::size_t>(perKeyCode);
    for (std::size_t index = 0; index <= static_cast<std::size_t>(last - first); ++index) {
        const KeySym* row = keysyms.get() + index * columns;
        keymap.keys.push_back({
            .unshifted = static_cast<Keysym>(row[0]),
            .shifted = columns > 1 ? static_cast<Keysym>(row[1]) : 0,
            .boundElsewhere = columns > 2 && std::any_of(row + 2, row + columns,
                                                         [](KeySym keysym) { return keysym != 0; }),
        });
    }
    return keymap;
}

std::uint64_t X11KeymapKeyboard::currentModifierFlags() {
    XkbStateRec state{};
    if (XkbGetState(display_, XkbUseCoreKbd, &state) != Success) {
        // Unknown counts as held: keys typed with a modifier held go astray.
        return modifier::deviceIndependentMask;
    }
    return modifierFlags(x11Modifiers, state.mods);
}

bool X11KeymapKeyboard::capsLockLocked() {
    XkbStateRec state{};
    return XkbGetState(display_, XkbUseCoreKbd, &state) == Success &&
           (state.locked_mods & LockMask) != 0;
}

void X11KeymapKeyboard::lockCapsLock(bool locked) {
    XkbLockModifiers(display_, XkbUseCoreKbd, LockMask, locked ? LockMask : 0);
    XFlush(display_);
}

void X11KeymapKeyboard::postKey(KeyCode keyCode, bool down) {
    XTestFakeKeyEvent(display_, keyCode, down ? True : False, CurrentTime);
    XFlush(display_);
}

void X11KeymapKeyboard::bindKey(KeyCode keyCode, std::optional<Keysym> keysym) {
    KeySym levels[2] = {keysym.value_or(NoSymbol), keysym.value_or(NoSymbol)};
    XChangeKeyboardMapping(display_, keyCode, 2, levels, 1);
    XFlush(display_);
}

bool X11KeymapKeyboard::askWhenKeysHandled(std::function<void()> handled) {
    auto* connection = answers_.get();
    if (!notifier_ || xcb_connection_has_error(connection)) {
        return false;
    }
    // The focus is asked on the keys' connection: once it answers, the server has passed the
    // keys on, so the ping reaches the client after them.
    const auto window = focused_.window();
    if (!window || !takesPing(*window)) {
        return false;
    }
    xcb_client_message_event_t ping{};
    ping.response_type = XCB_CLIENT_MESSAGE;
    ping.format = 32;
    ping.window = *window;
    ping.type = wmProtocols_;
    ping.data.data32[0] = netWmPing_;
    ping.data.data32[1] = nextPing_;
    ping.data.data32[2] = *window;
    xcb_send_event(connection, 0, *window, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&ping));
    xcb_flush(connection);
    waiting_.emplace_back(nextPing_++, std::move(handled));
    return true;
}

bool X11KeymapKeyboard::takesPing(xcb_window_t window) {
    if (lastWindow_ && lastWindow_->first == window) {
        return lastWindow_->second;
    }
    auto* connection = answers_.get();
    constexpr std::uint32_t protocolsLength = 32;
    const auto protocols = xcbReply(
        xcb_get_property_reply, connection,
        xcb_get_property(connection, 0, window, wmProtocols_, XCB_ATOM_ATOM, 0, protocolsLength));
    bool takes = false;
    if (protocols && protocols->format == 32) {
        const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(protocols.get()));
        const auto count = xcb_get_property_value_length(protocols.get()) / 4;
        takes = std::find(atoms, atoms + count, netWmPing_) != atoms + count;
    }
    lastWindow_ = {window, takes};
    return takes;
}

void X11KeymapKeyboard::receiveAnswers() {
    auto* connection = answers_.get();
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
        if ((event->response_type & 0x7F) != XCB_CLIENT_MESSAGE) {
            continue; // the root window's structure, which this connection must watch
        }
        const auto* answer = reinterpret_cast<const xcb_client_message_event_t*>(event.get());
        if (answer->type != wmProtocols_ || answer->data.data32[0] != netWmPing_) {
            continue;
        }
        // An answer covers every ping sent before it.
        const auto ping = answer->data.data32[1];
        const auto answered =
            std::partition(waiting_.begin(), waiting_.end(),
                           [ping](const auto& wait) { return wait.first > ping; });
        std::vector<std::function<void()>> handlers;
        for (auto wait = answered; wait != waiting_.end(); ++wait) {
            handlers.push_back(std::move(wait->second));
        }
        waiting_.erase(answered, waiting_.end());
        for (const auto& handler : handlers) {
            handler();
        }
    }
    if (xcb_connection_has_error(connection)) {
        logger.error("Lost the connection to the X server: keys are no longer acknowledged");
        notifier_->setEnabled(false);
    }
}

} // namespace kestrelle
