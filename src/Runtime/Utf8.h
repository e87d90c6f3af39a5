#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kestrelle {

// The one strict UTF-8 decoder. Calls `visit(scalar, offset, length)` for each scalar in order
// and returns true, or stops and returns false at the first byte that is not strict UTF-8:
// overlong forms, surrogates, values past U+10FFFF, truncated sequences.
template <class Visit>
bool forEachUtf8Scalar(std::span<const std::uint8_t> bytes, Visit&& visit) {
    // The smallest scalar each length may carry; anything below is an overlong form.
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    for (std::size_t offset = 0; offset < bytes.size();) {
        const std::uint8_t lead = bytes[offset];
        const std::size_t length = lead < 0x80             ? 1
                                   : (lead & 0xE0) == 0xC0 ? 2
                                   : (lead & 0xF0) == 0xE0 ? 3
                                   : (lead & 0xF8) == 0xF0 ? 4
                                                           : 0;
        if (length == 0 || bytes.size() - offset < length) {
            return false;
        }
        char32_t scalar = length == 1 ? lead : lead & (0x7Fu >> length);
        for (std::size_t next = 1; next < length; ++next) {
            const std::uint8_t byte = bytes[offset + next];
            if ((byte & 0xC0) != 0x80) {
                return false;
            }
            scalar = (scalar << 6) | (byte & 0x3Fu);
        }
        if (scalar < smallest[length] || scalar > 0x10FFFF ||
            (scalar >= 0xD800 && scalar <= 0xDFFF)) {
            return false;
        }
        visit(scalar, offset, length);
        offset += length;
    }
    return true;
}

} // namespace kestrelle
