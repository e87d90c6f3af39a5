#include "Runtime/Uuid.h"

#include "Runtime/Check.h"

#include <unistd.h>
#if defined(__APPLE__)
#include <sys/random.h>
#endif

namespace kestrelle {

namespace {

constexpr std::string_view hexDigits = "0123456789ABCDEF";

bool isDashPosition(std::size_t index) {
    return index == 8 || index == 13 || index == 18 || index == 23;
}

std::optional<std::uint8_t> hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<std::uint8_t>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<std::uint8_t>(c - 'a' + 10);
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<std::uint8_t>(c - 'A' + 10);
    }
    return std::nullopt;
}

} // namespace

Uuid Uuid::random() {
    Bytes bytes{};
    // Without randomness no identifier is safe to hand out.
    KESTRELLE_CHECK(getentropy(bytes.data(), bytes.size()) == 0, "No randomness for an identifier");
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return Uuid{bytes};
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    Bytes bytes{};
    std::size_t nibble = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (isDashPosition(index)) {
            if (text[index] != '-') {
                return std::nullopt;
            }
            continue;
        }
        auto value = hexValue(text[index]);
        if (!value) {
            return std::nullopt;
        }
        bytes[nibble / 2] |= static_cast<std::uint8_t>(nibble % 2 == 0 ? *value << 4 : *value);
        ++nibble;
    }
    return Uuid{bytes};
}

std::string Uuid::toString() const {
    std::string text;
    text.reserve(36);
    for (std::size_t index = 0; index < bytes_.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10) {
            text.push_back('-');
        }
        text.push_back(hexDigits[bytes_[index] >> 4]);
        text.push_back(hexDigits[bytes_[index] & 0x0F]);
    }
    return text;
}

} // namespace kestrelle
