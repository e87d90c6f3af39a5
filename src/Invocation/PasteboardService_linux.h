#pragma once

#include "Invocation/PasteboardService.h"

#include <QAbstractNativeEventFilter>
#include <cstdint>
#include <optional>
#include <xcb/xcb.h>

namespace kestrelle {

// The clipboard on X11: Kestrelle owns the CLIPBOARD selection from an unmapped window of its
// own on Qt's X connection, and serves the lent text itself on every request, so it stays
// served only while Kestrelle owns the selection.
// - An offer takes ownership at the server's current time. Requests get the text as
//   UTF8_STRING and text/plain;charset=utf-8, the marker x-kde-passwordManagerHint = "secret"
//   (which clipboard managers honour), and TARGETS; anything else is refused, and so is text
//   too long for one request (passwords never need INCR).
// - changeCount counts the own offers and clears and each time another client takes the
//   selection, which XFixes selection-owner notifications tell.
// - clearContents and forgetText give ownership up with the time it was taken, so the server
//   keeps whatever another client copied since.
// Events come through Qt's native event filter: make it on the main thread, after the
// QGuiApplication, which must run on the xcb platform.
class X11ClipboardOwner final : public PasteboardService, private QAbstractNativeEventFilter {
public:
    X11ClipboardOwner();
    ~X11ClipboardOwner() override;
    X11ClipboardOwner(const X11ClipboardOwner&) = delete;
    X11ClipboardOwner& operator=(const X11ClipboardOwner&) = delete;

    void offerConcealedText(std::string_view text) override;
    std::int64_t changeCount() override { return changeCount_; }
    void clearContents() override { giveUp(); }
    void forgetText() override { giveUp(); }

private:
    struct Atoms {
        xcb_atom_t clipboard;
        xcb_atom_t targets;
        xcb_atom_t utf8String;
        xcb_atom_t plainText;
        xcb_atom_t passwordManagerHint;
    };

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void serve(const xcb_selection_request_event_t& request);
    bool writeReply(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t target);
    // An XFixes selection-owner notification about the window.
    void noticeOwner(const xcb_generic_event_t& event);
    void giveUp();

    xcb_connection_t* connection_;
    Atoms atoms_;
    xcb_window_t window_;
    // The first event number of XFixes; none where the server lacks it.
    std::optional<std::uint8_t> xfixesFirstEvent_;
    // Lent by the caller while Kestrelle owns the selection, as far as it has been told.
    std::optional<std::string_view> text_;
    // The request that took ownership last: notifications about earlier changes are stale.
    std::uint32_t offerSequence_ = 0;
    // The server's time of taking ownership, once its notification has come.
    std::optional<xcb_timestamp_t> ownedSince_;
    std::int64_t changeCount_ = 0;
};

} // namespace kestrelle
