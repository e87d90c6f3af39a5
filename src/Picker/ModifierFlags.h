#pragma once

#include <cstdint>

namespace kestrelle {

// Modifier keys in the platform's event flag layout. The picker reads these four; Caps Lock,
// Function and numeric-pad bits are ignored.
struct ModifierFlags {
    static constexpr std::uint64_t shift = 0x20000;
    static constexpr std::uint64_t control = 0x40000;
    static constexpr std::uint64_t option = 0x80000;
    static constexpr std::uint64_t command = 0x100000;
};

} // namespace kestrelle
