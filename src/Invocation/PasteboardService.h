#pragma once

#include <cstdint>
#include <string_view>

namespace kestrelle {

// The system's general clipboard, as far as Kestrelle puts anything there: concealed text, a
// password that clipboard managers leave out of their history.
//
// The text is lent: the caller keeps its bytes alive and unchanged until it offers new text,
// calls clearContents or forgetText, or sees changeCount move past its offer; until then the
// service may read them, and it never copies them into a buffer of its own that outlives the
// read (the clipboard itself aside, where the platform keeps a copy).
//
// macOS (NSPasteboard): an offer declares exactly the types "public.utf8-plain-text" and
// "org.nspasteboard.ConcealedType", in this order with no owner, and sets the text for the
// first and the empty string for the second (the marker carries no data); changeCount and
// clearContents are the pasteboard's own; forgetText does nothing, the pasteboard holds a copy.
// X11: see X11ClipboardOwner (PasteboardService_linux.h). Faked by test::FakePasteboard.
class PasteboardService {
public:
    virtual ~PasteboardService() = default;

    // Replaces the contents with `text` (UTF-8), marked as concealed.
    virtual void offerConcealedText(std::string_view text) = 0;
    // Changes whenever anyone writes to the clipboard, the caller's offers and clears included.
    virtual std::int64_t changeCount() = 0;
    // Empties the clipboard; called only while it still holds the text offered last.
    virtual void clearContents() = 0;
    // Stops reading the text offered last, which the caller is about to wipe. Where the
    // clipboard serves the text from the caller's bytes (X11), this also takes it off the
    // clipboard if it is still there.
    virtual void forgetText() = 0;
};

} // namespace kestrelle
