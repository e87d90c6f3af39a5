#pragma once

#include "Runtime/Key.h"
#include "Runtime/ModifierFlags.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace kestrelle {

// A key's macOS virtual key code (ANSI US numbering) and the symbol macOS shows for it in a
// shortcut; keys without one are shown as "•".
struct MacKey {
    Key key;
    std::uint16_t code;
    std::string_view glyph;
};

// clang-format off
inline constexpr std::array<MacKey, keyCount> macKeys{{
    {Key::a, 0, "A"}, {Key::b, 11, "B"}, {Key::c, 8, "C"}, {Key::d, 2, "D"}, {Key::e, 14, "E"},
    {Key::f, 3, "F"}, {Key::g, 5, "G"}, {Key::h, 4, "H"}, {Key::i, 34, "I"}, {Key::j, 38, "J"},
    {Key::k, 40, "K"}, {Key::l, 37, "L"}, {Key::m, 46, "M"}, {Key::n, 45, "N"}, {Key::o, 31, "O"},
    {Key::p, 35, "P"}, {Key::q, 12, "Q"}, {Key::r, 15, "R"}, {Key::s, 1, "S"}, {Key::t, 17, "T"},
    {Key::u, 32, "U"}, {Key::v, 9, "V"}, {Key::w, 13, "W"}, {Key::x, 7, "X"}, {Key::y, 16, "Y"},
    {Key::z, 6, "Z"},
    {Key::digit0, 29, "0"}, {Key::digit1, 18, "1"}, {Key::digit2, 19, "2"}, {Key::digit3, 20, "3"},
    {Key::digit4, 21, "4"}, {Key::digit5, 23, "5"}, {Key::digit6, 22, "6"}, {Key::digit7, 26, "7"},
    {Key::digit8, 28, "8"}, {Key::digit9, 25, "9"},
    {Key::space, 49, "␣"}, {Key::returnKey, 36, "↩"}, {Key::keypadEnter, 76, "↩"},
    {Key::tab, 48, "⇥"}, {Key::backspace, 51, "⌫"}, {Key::deleteForward, 117, {}},
    {Key::escape, 53, "⎋"}, {Key::leftArrow, 123, "←"}, {Key::rightArrow, 124, "→"},
    {Key::downArrow, 125, "↓"}, {Key::upArrow, 126, "↑"}, {Key::home, 115, {}},
    {Key::end, 119, {}}, {Key::pageUp, 116, {}}, {Key::pageDown, 121, {}},
    {Key::f1, 122, {}}, {Key::f2, 120, {}}, {Key::f3, 99, {}}, {Key::f4, 118, {}},
    {Key::f5, 96, {}}, {Key::f6, 97, {}}, {Key::f7, 98, {}}, {Key::f8, 100, {}},
    {Key::f9, 101, {}}, {Key::f10, 109, {}}, {Key::f11, 103, {}}, {Key::f12, 111, {}},
    {Key::f13, 105, {}}, {Key::f14, 107, {}}, {Key::f15, 113, {}}, {Key::f16, 106, {}},
    {Key::f17, 64, {}}, {Key::f18, 79, {}}, {Key::f19, 80, {}}, {Key::f20, 90, {}},
    {Key::minus, 27, {}}, {Key::equal, 24, {}}, {Key::leftBracket, 33, {}},
    {Key::rightBracket, 30, {}}, {Key::backslash, 42, {}}, {Key::semicolon, 41, {}},
    {Key::quote, 39, {}}, {Key::comma, 43, {}}, {Key::period, 47, {}}, {Key::slash, 44, {}},
    {Key::grave, 50, {}},
}};
// clang-format on
static_assert(isInKeyOrder(macKeys));

// In the order macOS shows them (⌃⌥⇧⌘), with Carbon's masks (controlKey, optionKey, shiftKey,
// cmdKey), which the hot-key registration takes.
inline constexpr PlatformModifierTable macModifiers{{
    {modifier::control, 0x1000, "⌃"},
    {modifier::option, 0x800, "⌥"},
    {modifier::shift, 0x200, "⇧"},
    {modifier::command, 0x100, "⌘"},
}};

constexpr std::uint16_t macKeyCode(Key key) {
    return macKeys[static_cast<std::size_t>(key)].code;
}

constexpr std::optional<Key> keyFromMacKeyCode(std::uint32_t code) {
    for (const auto& row : macKeys) {
        if (row.code == code) {
            return row.key;
        }
    }
    return std::nullopt;
}

constexpr std::string_view macGlyph(Key key) {
    const auto glyph = macKeys[static_cast<std::size_t>(key)].glyph;
    return glyph.empty() ? "•" : glyph;
}

} // namespace kestrelle
