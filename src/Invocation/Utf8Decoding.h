#pragma once

#include "Storage/SecureWipe.h"

#include <cstdint>
#include <optional>
#include <span>

namespace kestrelle {

// Strict UTF-8: overlong forms, surrogates, code points above U+10FFFF and truncated
// sequences are all invalid.
bool isValidUtf8(std::span<const std::uint8_t> bytes);

// The text as UTF-16 code units, in a buffer that wipes itself; none when the bytes are not
// valid UTF-8.
std::optional<WipingVector<char16_t>> decodeUtf8AsUtf16(std::span<const std::uint8_t> bytes);

} // namespace kestrelle
