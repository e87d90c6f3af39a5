#pragma once

#include <cstdint>

namespace kestrelle {

// The platform's device-independent modifier bits, the same in key events and event flags.
// Caps Lock, Function and numeric-pad bits are carried elsewhere in the same word and ignored.
namespace modifier {
inline constexpr std::uint64_t shift = 0x20000;
inline constexpr std::uint64_t control = 0x40000;
inline constexpr std::uint64_t option = 0x80000;
inline constexpr std::uint64_t command = 0x100000;
inline constexpr std::uint64_t deviceIndependentMask = shift | control | option | command;
} // namespace modifier

} // namespace kestrelle
