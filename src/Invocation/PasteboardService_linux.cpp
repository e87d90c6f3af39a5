#include "Invocation/PasteboardService_linux.h"

#include "Runtime/Check.h"
#include "Runtime/Logger.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <array>
#include <cstdlib>
#include <memory>
#include <xcb/xfixes.h>

namespace kestrelle {

namespace {

const Logger logger{"Clipboard"};

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using XcbReply = std::unique_ptr<Reply, FreeReply>;

constexpr std::string_view passwordManagerHintValue = "secret";
// A ChangeProperty request's own bytes, with the BIG-REQUESTS length field.
constexpr std::size_t changePropertyHeader = 28;

xcb_connection_t* qtConnection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    KESTRELLE_CHECK(x11 != nullptr, "the clipboard owner needs Qt's xcb platform");
    return x11->connection();
}

xcb_window_t createWindow(xcb_connection_t* connection) {
    const xcb_window_t window = xcb_generate_id(connection);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    return window;
}

std::optional<std::uint8_t> listenForOwners(xcb_connection_t* connection, xcb_window_t window,
                                            xcb_atom_t selection) {
    const auto* xfixes = xcb_get_extension_data(connection, &xcb_xfixes_id);
    if (xfixes == nullptr || !xfixes->present) {
        logger.error("The X server has no XFixes: another copy will not end the clipboard's wait");
        return std::nullopt;
    }
    // The extension answers nothing until the client has told which version it speaks. The
    // version is the connection's, shared with Qt: ask for the one Qt asks for, as a lower one
    // would refuse Qt's later requests.
    const XcbReply<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
        connection,
        xcb_xfixes_query_version(connection, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION),
        nullptr));
    xcb_xfixes_select_selection_input(connection, window, selection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    return xfixes->first_event;
}

} // namespace

X11ClipboardOwner::X11ClipboardOwner() : connection_(qtConnection()) {
    const auto intern = [this](std::string_view name) {
        return xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()),
                               name.data());
    };
    // Asked together, answered in one round trip.
    const std::array cookies{intern("CLIPBOARD"), intern("TARGETS"), intern("UTF8_STRING"),
                             intern("text/plain;charset=utf-8"),
                             intern("x-kde-passwordManagerHint")};
    std::array<xcb_atom_t, cookies.size()> atoms{};
    for (std::size_t index = 0; index < cookies.size(); ++index) {
        const XcbReply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection_, cookies[index], nullptr));
        if (!reply) {
            logger.error("Could not name the clipboard's X atoms");
        }
        atoms[index] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }
    atoms_ = {.clipboard = atoms[0],
              .targets = atoms[1],
              .utf8String = atoms[2],
              .plainText = atoms[3],
              .passwordManagerHint = atoms[4]};
    window_ = createWindow(connection_);
    xfixesFirstEvent_ = listenForOwners(connection_, window_, atoms_.clipboard);
    xcb_flush(connection_);
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11ClipboardOwner::~X11ClipboardOwner() {
    QCoreApplication::instance()->removeNativeEventFilter(this);
    giveUp();
    xcb_destroy_window(connection_, window_);
    xcb_flush(connection_);
}

void X11ClipboardOwner::offerConcealedText(std::string_view text) {
    const auto request =
        xcb_set_selection_owner(connection_, window_, atoms_.clipboard, XCB_CURRENT_TIME);
    xcb_flush(connection_);
    offerSequence_ = request.sequence;
    ownedSince_.reset();
    text_ = text;
    ++changeCount_;
}

void X11ClipboardOwner::giveUp() {
    if (!text_) {
        return; // never owned, given up already, or taken by another client
    }
    text_.reset();
    // Until the notification tells the time of taking, the current time stands in for it.
    xcb_set_selection_owner(connection_, XCB_NONE, atoms_.clipboard,
                            ownedSince_.value_or(XCB_CURRENT_TIME));
    xcb_flush(connection_);
    ++changeCount_;
}

bool X11ClipboardOwner::nativeEventFilter(const QByteArray& eventType, void* message,
                                          qintptr* /*result*/) {
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto& event = *static_cast<const xcb_generic_event_t*>(message);
    const auto type = event.response_type & 0x7f;
    // Events about the window are Kestrelle's alone: Qt's clipboard would answer them for itself.
    if (type == XCB_SELECTION_REQUEST) {
        const auto& request = reinterpret_cast<const xcb_selection_request_event_t&>(event);
        if (request.owner != window_) {
            return false;
        }
        serve(request);
        return true;
    }
    if (type == XCB_SELECTION_CLEAR) {
        // The XFixes notification about the same change is the one that counts.
        return reinterpret_cast<const xcb_selection_clear_event_t&>(event).owner == window_;
    }
    if (xfixesFirstEvent_ && type == *xfixesFirstEvent_ + XCB_XFIXES_SELECTION_NOTIFY) {
        if (reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event).window != window_) {
            return false;
        }
        noticeOwner(event);
        return true;
    }
    return false;
}

void X11ClipboardOwner::noticeOwner(const xcb_generic_event_t& event) {
    const auto& notice = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
    // An event carries the number of the last request of this connection the server had
    // handled when it happened: one from before the last offer tells an outdated change.
    const bool sinceOffer = static_cast<std::int32_t>(event.full_sequence - offerSequence_) >= 0;
    if (!text_ || !sinceOffer) {
        return;
    }
    if (notice.owner == window_) {
        ownedSince_ = notice.selection_timestamp;
        return;
    }
    // Another client took the selection; the server no longer asks for the text.
    text_.reset();
    ++changeCount_;
}

void X11ClipboardOwner::serve(const xcb_selection_request_event_t& request) {
    // Clients from before ICCCM name no property and mean the target's name.
    const xcb_atom_t property = request.property == XCB_NONE ? request.target : request.property;
    const bool served = writeReply(request.requestor, property, request.target);
    const xcb_selection_notify_event_t notification{
        .response_type = XCB_SELECTION_NOTIFY,
        .pad0 = 0,
        .sequence = 0,
        .time = request.time,
        .requestor = request.requestor,
        .selection = request.selection,
        .target = request.target,
        .property = served ? property : static_cast<xcb_atom_t>(XCB_NONE),
    };
    xcb_send_event(connection_, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&notification));
    xcb_flush(connection_);
}

bool X11ClipboardOwner::writeReply(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t target) {
    const auto write = [&](xcb_atom_t type, std::uint8_t format, std::size_t count,
                           const void* data) {
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, requestor, property, type, format,
                            static_cast<std::uint32_t>(count), data);
    };
    const std::size_t limit =
        std::size_t{xcb_get_maximum_request_length(connection_)} * 4 - changePropertyHeader;
    if (!text_) {
        return false;
    }
    if (target == atoms_.targets) {
        const std::array targets{atoms_.targets, atoms_.utf8String, atoms_.plainText,
                                 atoms_.passwordManagerHint};
        write(XCB_ATOM_ATOM, 32, targets.size(), targets.data());
    } else if (target == atoms_.passwordManagerHint) {
        write(target, 8, passwordManagerHintValue.size(), passwordManagerHintValue.data());
    } else if ((target == atoms_.utf8String || target == atoms_.plainText) &&
               text_->size() <= limit) {
        write(target, 8, text_->size(), text_->data());
    } else {
        return false;
    }
    return true;
}

} // namespace kestrelle
