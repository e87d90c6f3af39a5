#include "Shortcut/Hotkey.h"

#include <array>
#include <utility>

namespace kestrelle {

namespace {

constexpr std::array<std::pair<std::uint32_t, const char*>, 36> usKeyLabels{{
    {0, "A"},  {11, "B"}, {8, "C"},  {2, "D"},  {14, "E"}, {3, "F"},  {5, "G"},  {4, "H"},
    {34, "I"}, {38, "J"}, {40, "K"}, {37, "L"}, {46, "M"}, {45, "N"}, {31, "O"}, {35, "P"},
    {12, "Q"}, {15, "R"}, {1, "S"},  {17, "T"}, {32, "U"}, {9, "V"},  {13, "W"}, {7, "X"},
    {16, "Y"}, {6, "Z"},  {29, "0"}, {18, "1"}, {19, "2"}, {20, "3"}, {21, "4"}, {23, "5"},
    {22, "6"}, {26, "7"}, {28, "8"}, {25, "9"},
}};

std::optional<std::string> specialGlyph(std::uint32_t keyCode) {
    switch (keyCode) {
    case 36:
    case 76:
        return "↩";
    case 48:
        return "⇥";
    case 49:
        return "␣";
    case 51:
        return "⌫";
    case 53:
        return "⎋";
    case 123:
        return "←";
    case 124:
        return "→";
    case 125:
        return "↓";
    case 126:
        return "↑";
    default:
        return std::nullopt;
    }
}

} // namespace

std::optional<std::string> usKeyLabel(std::uint32_t keyCode) {
    for (const auto& [code, label] : usKeyLabels) {
        if (code == keyCode) {
            return label;
        }
    }
    return std::nullopt;
}

std::string glyph(std::uint32_t keyCode) {
    if (auto special = specialGlyph(keyCode)) {
        return *special;
    }
    return usKeyLabel(keyCode).value_or("•");
}

std::string Hotkey::displayString() const {
    std::string text;
    if (modifiers & modifier::control) {
        text += "⌃";
    }
    if (modifiers & modifier::option) {
        text += "⌥";
    }
    if (modifiers & modifier::shift) {
        text += "⇧";
    }
    if (modifiers & modifier::command) {
        text += "⌘";
    }
    return text + glyph(keyCode);
}

std::uint32_t Hotkey::carbonModifiers() const {
    std::uint32_t carbon = 0;
    if (modifiers & modifier::command) {
        carbon |= carbonModifier::command;
    }
    if (modifiers & modifier::shift) {
        carbon |= carbonModifier::shift;
    }
    if (modifiers & modifier::option) {
        carbon |= carbonModifier::option;
    }
    if (modifiers & modifier::control) {
        carbon |= carbonModifier::control;
    }
    return carbon;
}

std::optional<std::string> Hotkey::validationError() const {
    // Shift alone does not count: Shift-A is still just typing.
    const bool hasNonShiftModifier =
        (modifiers & (modifier::control | modifier::option | modifier::command)) != 0;
    if (usKeyLabel(keyCode) && !hasNonShiftModifier) {
        return "Add ⌘, ⌥, or ⌃ so the shortcut does not replace normal typing.";
    }
    if ((modifiers & modifier::deviceIndependentMask) == modifier::command) {
        switch (keyCode) {
        case 12:
            return "⌘Q is reserved.";
        case 13:
            return "⌘W is reserved.";
        case keyCode::space:
            return "⌘Space is reserved.";
        default:
            break;
        }
    }
    return std::nullopt;
}

} // namespace kestrelle
