#pragma once

#include "Runtime/Key.h"
#include "Runtime/ModifierFlags.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace kestrelle {

// A key's X11 keysym, the one its key produces without Shift (so letters are lower case), and
// the name shown for it in a shortcut.
struct X11Key {
    Key key;
    std::uint32_t keysym;
    std::string_view name;
};

// Latin-1 keysyms equal their characters.
// clang-format off
inline constexpr std::array<X11Key, keyCount> x11Keys{{
    {Key::a, 'a', "A"}, {Key::b, 'b', "B"}, {Key::c, 'c', "C"}, {Key::d, 'd', "D"},
    {Key::e, 'e', "E"}, {Key::f, 'f', "F"}, {Key::g, 'g', "G"}, {Key::h, 'h', "H"},
    {Key::i, 'i', "I"}, {Key::j, 'j', "J"}, {Key::k, 'k', "K"}, {Key::l, 'l', "L"},
    {Key::m, 'm', "M"}, {Key::n, 'n', "N"}, {Key::o, 'o', "O"}, {Key::p, 'p', "P"},
    {Key::q, 'q', "Q"}, {Key::r, 'r', "R"}, {Key::s, 's', "S"}, {Key::t, 't', "T"},
    {Key::u, 'u', "U"}, {Key::v, 'v', "V"}, {Key::w, 'w', "W"}, {Key::x, 'x', "X"},
    {Key::y, 'y', "Y"}, {Key::z, 'z', "Z"},
    {Key::digit0, '0', "0"}, {Key::digit1, '1', "1"}, {Key::digit2, '2', "2"},
    {Key::digit3, '3', "3"}, {Key::digit4, '4', "4"}, {Key::digit5, '5', "5"},
    {Key::digit6, '6', "6"}, {Key::digit7, '7', "7"}, {Key::digit8, '8', "8"},
    {Key::digit9, '9', "9"},
    {Key::space, ' ', "Space"}, {Key::returnKey, 0xff0d, "Return"},
    {Key::keypadEnter, 0xff8d, "Keypad Enter"}, {Key::tab, 0xff09, "Tab"},
    {Key::backspace, 0xff08, "Backspace"}, {Key::deleteForward, 0xffff, "Delete"},
    {Key::escape, 0xff1b, "Esc"}, {Key::leftArrow, 0xff51, "Left"},
    {Key::rightArrow, 0xff53, "Right"}, {Key::downArrow, 0xff54, "Down"},
    {Key::upArrow, 0xff52, "Up"}, {Key::home, 0xff50, "Home"}, {Key::end, 0xff57, "End"},
    {Key::pageUp, 0xff55, "Page Up"}, {Key::pageDown, 0xff56, "Page Down"},
    {Key::f1, 0xffbe, "F1"}, {Key::f2, 0xffbf, "F2"}, {Key::f3, 0xffc0, "F3"},
    {Key::f4, 0xffc1, "F4"}, {Key::f5, 0xffc2, "F5"}, {Key::f6, 0xffc3, "F6"},
    {Key::f7, 0xffc4, "F7"}, {Key::f8, 0xffc5, "F8"}, {Key::f9, 0xffc6, "F9"},
    {Key::f10, 0xffc7, "F10"}, {Key::f11, 0xffc8, "F11"}, {Key::f12, 0xffc9, "F12"},
    {Key::f13, 0xffca, "F13"}, {Key::f14, 0xffcb, "F14"}, {Key::f15, 0xffcc, "F15"},
    {Key::f16, 0xffcd, "F16"}, {Key::f17, 0xffce, "F17"}, {Key::f18, 0xffcf, "F18"},
    {Key::f19, 0xffd0, "F19"}, {Key::f20, 0xffd1, "F20"},
    {Key::minus, '-', "-"}, {Key::equal, '=', "="}, {Key::leftBracket, '[', "["},
    {Key::rightBracket, ']', "]"}, {Key::backslash, '\\', "\\"}, {Key::semicolon, ';', ";"},
    {Key::quote, '\'', "'"}, {Key::comma, ',', ","}, {Key::period, '.', "."},
    {Key::slash, '/', "/"}, {Key::grave, '`', "`"},
}};
// clang-format on
static_assert(isInKeyOrder(x11Keys));

// In the order shown (Ctrl+Alt+Shift+Super), with the core masks of the X protocol:
// ControlMask, Mod1Mask (Alt), ShiftMask and Mod4Mask (Super) on common keymaps.
inline constexpr PlatformModifierTable x11Modifiers{{
    {modifier::control, 1U << 2, "Ctrl"},
    {modifier::option, 1U << 3, "Alt"},
    {modifier::shift, 1U << 0, "Shift"},
    {modifier::command, 1U << 6, "Super"},
}};

// Caps Lock (LockMask) and Num Lock (Mod2Mask on common keymaps) are part of the state a key
// grab matches, so a grab is made once for each combination of them to work whatever their
// state.
inline constexpr std::array<std::uint32_t, 4> x11LockVariants{0, 1U << 1, 1U << 4,
                                                              1U << 1 | 1U << 4};

constexpr std::uint32_t x11Keysym(Key key) {
    return x11Keys[static_cast<std::size_t>(key)].keysym;
}

constexpr std::optional<Key> keyFromX11Keysym(std::uint32_t keysym) {
    for (const auto& row : x11Keys) {
        if (row.keysym == keysym) {
            return row.key;
        }
    }
    return std::nullopt;
}

constexpr std::string_view x11KeyName(Key key) {
    return x11Keys[static_cast<std::size_t>(key)].name;
}

} // namespace kestrelle
