#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestrelle {

// A key as the core knows it, whatever the platform numbers it. These are the keys a shortcut
// or the picker can use; adapters translate their platform's events through the tables of
// Runtime/MacKey.h and Runtime/X11Key.h and treat any other key as unknown.
enum class Key : std::uint8_t {
    // clang-format off
    a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y, z,
    digit0, digit1, digit2, digit3, digit4, digit5, digit6, digit7, digit8, digit9,
    space, returnKey, keypadEnter, tab, backspace, deleteForward, escape,
    leftArrow, rightArrow, downArrow, upArrow, home, end, pageUp, pageDown,
    f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14, f15, f16, f17, f18, f19, f20,
    minus, equal, leftBracket, rightBracket, backslash, semicolon, quote, comma, period, slash,
    grave, // keep last: it ends the count
    // clang-format on
};

inline constexpr std::size_t keyCount = static_cast<std::size_t>(Key::grave) + 1;

// The letters and digits: what a shortcut without Control, Option or Command would take away
// from normal typing.
constexpr bool isTypingKey(Key key) {
    return key <= Key::digit9;
}

// Whether a platform's table has exactly one row per key, in the enumeration's order, so that
// a key's row is found by its value.
template <class Row>
constexpr bool isInKeyOrder(const std::array<Row, keyCount>& rows) {
    for (std::size_t index = 0; index < keyCount; ++index) {
        if (rows[index].key != static_cast<Key>(index)) {
            return false;
        }
    }
    return true;
}

} // namespace kestrelle
