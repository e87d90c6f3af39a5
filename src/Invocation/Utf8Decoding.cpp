#include "Invocation/Utf8Decoding.h"

namespace kestrelle {

namespace {

struct Scalar {
    char32_t value;
    std::size_t length;
};

// The scalar whose encoding starts at `index`.
std::optional<Scalar> scalarAt(std::span<const std::uint8_t> bytes, std::size_t index) {
    const std::uint8_t lead = bytes[index];
    if (lead < 0x80) {
        return Scalar{lead, 1};
    }
    // The sequence's length, the lead byte's share of the value, and the smallest scalar that
    // needs this many bytes (anything below is an overlong form).
    struct Form {
        std::size_t length;
        char32_t value;
        char32_t smallest;
    };
    Form form{};
    if ((lead & 0xE0) == 0xC0) {
        form = {2, lead & 0x1Fu, 0x80};
    } else if ((lead & 0xF0) == 0xE0) {
        form = {3, lead & 0x0Fu, 0x800};
    } else if ((lead & 0xF8) == 0xF0) {
        form = {4, lead & 0x07u, 0x10000};
    } else {
        return std::nullopt;
    }
    auto [length, value, smallest] = form;
    if (bytes.size() - index < length) {
        return std::nullopt;
    }
    for (std::size_t offset = 1; offset < length; ++offset) {
        const std::uint8_t next = bytes[index + offset];
        if ((next & 0xC0) != 0x80) {
            return std::nullopt;
        }
        value = (value << 6) | (next & 0x3F);
    }
    if (value < smallest || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        return std::nullopt;
    }
    return Scalar{value, length};
}

} // namespace

bool isValidUtf8(std::span<const std::uint8_t> bytes) {
    for (std::size_t index = 0; index < bytes.size();) {
        const auto scalar = scalarAt(bytes, index);
        if (!scalar) {
            return false;
        }
        index += scalar->length;
    }
    return true;
}

std::optional<WipingVector<char16_t>> decodeUtf8AsUtf16(std::span<const std::uint8_t> bytes) {
    WipingVector<char16_t> units;
    // Never more units than bytes, so the buffer is not reallocated mid-way.
    units.reserve(bytes.size());
    for (std::size_t index = 0; index < bytes.size();) {
        const auto scalar = scalarAt(bytes, index);
        if (!scalar) {
            return std::nullopt;
        }
        if (scalar->value < 0x10000) {
            units.push_back(static_cast<char16_t>(scalar->value));
        } else {
            const char32_t offset = scalar->value - 0x10000;
            units.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
        }
        index += scalar->length;
    }
    return units;
}

} // namespace kestrelle
