#include "Invocation/Utf8Decoding.h"

#include "Runtime/Utf8.h"

namespace kestrelle {

bool isValidUtf8(std::span<const std::uint8_t> bytes) {
    return forEachUtf8Scalar(bytes, [](char32_t, std::size_t, std::size_t) {});
}

std::optional<WipingVector<char16_t>> decodeUtf8AsUtf16(std::span<const std::uint8_t> bytes) {
    WipingVector<char16_t> units;
    // Never more units than bytes, so the buffer is not reallocated mid-way.
    units.reserve(bytes.size());
    const bool decoded = forEachUtf8Scalar(bytes, [&](char32_t scalar, std::size_t, std::size_t) {
        if (scalar < 0x10000) {
            units.push_back(static_cast<char16_t>(scalar));
        } else {
            const char32_t offset = scalar - 0x10000;
            units.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
        }
    });
    if (!decoded) {
        return std::nullopt;
    }
    return units;
}

} // namespace kestrelle
