#include "Shortcut/HotKeyService_linux.h"

#include "Runtime/Logger.h"

#include <QCoreApplication>
#include <algorithm>
#include <set>
// Xlib's macros clash with Qt's names: Xlib comes last.
#include <X11/XKBlib.h>

namespace kestrelle {

namespace {

const Logger logger{"HotKey"};

constexpr std::uint8_t badAccess = 10;
// The modifier bits of an event's state; the rest are pointer buttons and the keyboard group.
constexpr std::uint16_t modifierBits = 0xFF;

} // namespace

X11HotKeyService::X11HotKeyService() : x11_(X11Connection::ofQt()) {
    int supported = 0;
    XkbSetDetectableAutoRepeat(x11_.display, 1, &supported);
    if (!supported) {
        logger.notice("Detectable auto-repeat is not supported: a held shortcut repeats releases");
    }
    int opcode = 0;
    int eventBase = 0;
    int errorBase = 0;
    int major = XkbMajorVersion;
    int minor = XkbMinorVersion;
    if (XkbQueryExtension(x11_.display, &opcode, &eventBase, &errorBase, &major, &minor)) {
        xkbEventBase_ = static_cast<std::uint8_t>(eventBase);
    }
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11HotKeyService::~X11HotKeyService() {
    for (const auto& [reference, registration] : registrations_) {
        ungrab(registration.grabs);
    }
    if (auto* application = QCoreApplication::instance()) {
        application->removeNativeEventFilter(this);
    }
}

std::optional<HotKeyHandler>
X11HotKeyService::installHandler(std::function<void(HotKeyId, HotKeyTransition)> onTransition) {
    handlers_.emplace(++nextReference_, std::move(onTransition));
    return HotKeyHandler{nextReference_};
}

void X11HotKeyService::removeHandler(HotKeyHandler handler) {
    handlers_.erase(static_cast<std::uintptr_t>(handler));
}

HotKeyService::RegisterResult X11HotKeyService::registerHotKey(const HotKeyCodes& codes,
                                                               HotKeyId id) {
    auto granted = grab(codes);
    if (auto* refusal = std::get_if<HotKeyRefusal>(&granted)) {
        return *refusal;
    }
    registrations_.emplace(
        ++nextReference_, Registration{id, codes, std::get<std::vector<Grab>>(std::move(granted))});
    return HotKeyRegistration{nextReference_};
}

std::variant<std::vector<X11HotKeyService::Grab>, HotKeyRefusal>
X11HotKeyService::grab(const HotKeyCodes& codes) const {
    std::vector<Grab> requested;
    std::vector<xcb_void_cookie_t> cookies;
    for (const auto keyCode : keyCodes(codes.key)) {
        for (const auto mask : codes.modifierMasks) {
            const Grab grab{keyCode, static_cast<std::uint16_t>(mask)};
            requested.push_back(grab);
            cookies.push_back(xcb_grab_key_checked(x11_.connection, 0, x11_.root, grab.modifiers,
                                                   grab.keyCode, XCB_GRAB_MODE_ASYNC,
                                                   XCB_GRAB_MODE_ASYNC));
        }
    }
    if (requested.empty()) {
        return HotKeyRefusal{.reason = HotKeyRefusal::Reason::failed, .platformStatus = 0};
    }
    std::vector<Grab> granted;
    std::optional<HotKeyRefusal> refusal;
    for (std::size_t index = 0; index < cookies.size(); ++index) {
        const XcbReply<xcb_generic_error_t> error(
            xcb_request_check(x11_.connection, cookies[index]));
        if (!error) {
            granted.push_back(requested[index]);
        } else if (!refusal || error->error_code == badAccess) {
            refusal = HotKeyRefusal{.reason = error->error_code == badAccess
                                                  ? HotKeyRefusal::Reason::conflict
                                                  : HotKeyRefusal::Reason::failed,
                                    .platformStatus = error->error_code};
        }
    }
    if (refusal) {
        ungrab(granted);
        return *refusal;
    }
    return granted;
}

void X11HotKeyService::unregisterHotKey(HotKeyRegistration registration) {
    if (const auto found = registrations_.find(static_cast<std::uintptr_t>(registration));
        found != registrations_.end()) {
        ungrab(found->second.grabs);
        registrations_.erase(found);
    }
}

std::vector<xcb_keycode_t> X11HotKeyService::keyCodes(std::uint32_t keysym) const {
    const auto* setup = xcb_get_setup(x11_.connection);
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const auto mapping =
        xcbReply(xcb_get_keyboard_mapping_reply, x11_.connection,
                 xcb_get_keyboard_mapping(x11_.connection, setup->min_keycode, count));
    std::vector<xcb_keycode_t> found;
    if (!mapping || mapping->keysyms_per_keycode == 0) {
        return found;
    }
    const auto* keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const auto perKeyCode = mapping->keysyms_per_keycode;
    for (int index = 0; index < count; ++index) {
        const auto* first = keysyms + index * perKeyCode;
        if (std::find(first, first + perKeyCode, keysym) != first + perKeyCode) {
            found.push_back(static_cast<xcb_keycode_t>(setup->min_keycode + index));
        }
    }
    return found;
}

void X11HotKeyService::ungrab(const std::vector<Grab>& grabs) const {
    for (const auto& grab : grabs) {
        xcb_ungrab_key(x11_.connection, grab.keyCode, x11_.root, grab.modifiers);
    }
    xcb_flush(x11_.connection);
}

bool X11HotKeyService::isKeymapChange(const xcb_generic_event_t& event) const {
    const auto type = event.response_type & 0x7F;
    if (type == XCB_MAPPING_NOTIFY) {
        return reinterpret_cast<const xcb_mapping_notify_event_t&>(event).request ==
               XCB_MAPPING_KEYBOARD;
    }
    // XKB's events carry their kind in the second byte. A client that selected them, as Qt
    // does, gets them instead of the core MappingNotify.
    return xkbEventBase_ && type == *xkbEventBase_ &&
           (event.pad0 == XkbNewKeyboardNotify || event.pad0 == XkbMapNotify);
}

// The new map may put the keysym on other key codes. Registrations whose key codes stay keep
// their grabs; a grab the server refuses now is dropped, with a log line.
void X11HotKeyService::regrab() {
    for (auto& [reference, registration] : registrations_) {
        const auto now = keyCodes(registration.codes.key);
        std::set<xcb_keycode_t> grabbed;
        for (const auto& grab : registration.grabs) {
            grabbed.insert(grab.keyCode);
        }
        if (grabbed == std::set<xcb_keycode_t>(now.begin(), now.end())) {
            continue;
        }
        ungrab(registration.grabs);
        auto granted = grab(registration.codes);
        if (auto* refusal = std::get_if<HotKeyRefusal>(&granted)) {
            logger.error("The shortcut could not be grabbed again after a keyboard map change: {}",
                         refusal->platformStatus);
            registration.grabs.clear();
        } else {
            registration.grabs = std::get<std::vector<Grab>>(std::move(granted));
        }
    }
}

bool X11HotKeyService::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if (isKeymapChange(*event)) {
        regrab();
        return false; // Qt reads the new map too
    }
    const auto type = event->response_type & 0x7F;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) {
        return false;
    }
    // A key release has the same layout.
    const auto* key = reinterpret_cast<const xcb_key_press_event_t*>(event);
    if (key->event != x11_.root) {
        return false;
    }
    const bool pressed = type == XCB_KEY_PRESS;
    const auto state = static_cast<std::uint16_t>(key->state & modifierBits);
    for (const auto& [reference, registration] : registrations_) {
        const bool matches = std::ranges::any_of(registration.grabs, [&](const Grab& grab) {
            return grab.keyCode == key->detail && (!pressed || grab.modifiers == state);
        });
        if (!matches) {
            continue;
        }
        // Copied: a handler may remove itself.
        const auto handlers = handlers_;
        for (const auto& [handlerReference, onTransition] : handlers) {
            onTransition(registration.id,
                         pressed ? HotKeyTransition::pressed : HotKeyTransition::released);
        }
        return true;
    }
    return false;
}

} // namespace kestrelle
