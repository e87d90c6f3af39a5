#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace kestrelle {

// The core's modifier bits, on every platform. They are macOS's device-independent bits, so
// macOS key events and event flags carry them as they are (Caps Lock, Function and numeric-pad
// bits come in the same word and are ignored); other platforms translate through their table.
namespace modifier {
inline constexpr std::uint64_t shift = 0x20000;
inline constexpr std::uint64_t control = 0x40000;
inline constexpr std::uint64_t option = 0x80000;   // Alt
inline constexpr std::uint64_t command = 0x100000; // Super
inline constexpr std::uint64_t deviceIndependentMask = shift | control | option | command;
} // namespace modifier

// One modifier in a platform's own numbers, with the name that platform shows for it.
struct PlatformModifier {
    std::uint64_t flag;
    std::uint32_t mask;
    std::string_view name;
};

using PlatformModifierTable = std::array<PlatformModifier, 4>;

// The platform's mask for the modifier bits among `flags`; other bits are dropped.
constexpr std::uint32_t platformModifierMask(const PlatformModifierTable& table,
                                             std::uint64_t flags) {
    std::uint32_t mask = 0;
    for (const auto& row : table) {
        mask |= (flags & row.flag) ? row.mask : 0;
    }
    return mask;
}

// The core's bits for the platform's `mask`; other bits of the mask are dropped.
constexpr std::uint64_t modifierFlags(const PlatformModifierTable& table, std::uint32_t mask) {
    std::uint64_t flags = 0;
    for (const auto& row : table) {
        flags |= (mask & row.mask) ? row.flag : 0;
    }
    return flags;
}

} // namespace kestrelle
