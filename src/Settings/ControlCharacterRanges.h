// Unicode 15.0.0 categories Cc and Cf. Regenerate: scripts/generate-control-character-ranges
#pragma once

#include <string_view>

namespace kestrelle {

struct CodePointRange {
    char32_t first;
    char32_t last;
};

inline constexpr std::string_view controlCharacterUnicodeVersion = "15.0.0";

// Sorted, disjoint and not adjacent.
// clang-format off
inline constexpr CodePointRange controlCharacterRanges[] = {
    {0x0000, 0x001F},
    {0x007F, 0x009F},
    {0x00AD, 0x00AD},
    {0x0600, 0x0605},
    {0x061C, 0x061C},
    {0x06DD, 0x06DD},
    {0x070F, 0x070F},
    {0x0890, 0x0891},
    {0x08E2, 0x08E2},
    {0x180E, 0x180E},
    {0x200B, 0x200F},
    {0x202A, 0x202E},
    {0x2060, 0x2064},
    {0x2066, 0x206F},
    {0xFEFF, 0xFEFF},
    {0xFFF9, 0xFFFB},
    {0x110BD, 0x110BD},
    {0x110CD, 0x110CD},
    {0x13430, 0x1343F},
    {0x1BCA0, 0x1BCA3},
    {0x1D173, 0x1D17A},
    {0xE0001, 0xE0001},
    {0xE0020, 0xE007F},
};
// clang-format on

} // namespace kestrelle
