#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kestrelle {

// The system's general pasteboard. Types are uniform type identifiers. Implemented over
// NSPasteboard on macOS; faked by test::FakePasteboard.
class PasteboardService {
public:
    virtual ~PasteboardService() = default;

    // Clears the contents and announces exactly these types, in this order, with no owner.
    virtual void declareTypes(std::span<const std::string_view> types) = 0;
    // `text` is UTF-8.
    virtual void setString(std::string_view text, std::string_view type) = 0;
    // Changes whenever anyone writes to the pasteboard.
    virtual std::int64_t changeCount() = 0;
    virtual void clearContents() = 0;
};

} // namespace kestrelle
