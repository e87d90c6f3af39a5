#include "Invocation/KeymapKeyboard_linux.h"

#include "Runtime/ModifierFlags.h"
#include "Runtime/X11Key.h"

#include <X11/XKBlib.h>
#include <X11/extensions/XTest.h>
#include <algorithm>

namespace kestrelle {

namespace {

struct XlibFree {
    void operator()(void* data) const { XFree(data); }
};

} // namespace

X11KeymapKeyboard::X11KeymapKeyboard() : display_(X11Connection::ofQt().display) {}

KeymapKeyboard::Keymap X11KeymapKeyboard::keymap() {
    int first = 0;
    int last = 0;
    XDisplayKeycodes(display_, &first, &last);
    int perKeyCode = 0;
    const std::unique_ptr<KeySym, XlibFree> keysyms(XGetKeyboardMapping(
        display_, static_cast<::KeyCode>(first), last - first + 1, &perKeyCode));
    Keymap keymap{.firstKeyCode = static_cast<KeyCode>(first), .keys = {}};
    if (!keysyms || perKeyCode <= 0) {
        return keymap;
    }
    const auto columns = static_cast<std::size_t>(perKeyCode);
    for (std::size_t index = 0; index <= static_cast<std::size_t>(last - first); ++index) {
        const KeySym* row = keysyms.get() + index * columns;
        keymap.keys.push_back({
            .unshifted = static_cast<Keysym>(row[0]),
            .shifted = columns > 1 ? static_cast<Keysym>(row[1]) : 0,
            .boundElsewhere = columns > 2 && std::any_of(row + 2, row + columns,
                                                         [](KeySym keysym) { return keysym != 0; }),
        });
    }
    return keymap;
}

std::uint64_t X11KeymapKeyboard::currentModifierFlags() {
    XkbStateRec state{};
    if (XkbGetState(display_, XkbUseCoreKbd, &state) != Success) {
        // Unknown counts as held: keys typed with a modifier held go astray.
        return modifier::deviceIndependentMask;
    }
    return modifierFlags(x11Modifiers, state.mods);
}

bool X11KeymapKeyboard::capsLockLocked() {
    XkbStateRec state{};
    return XkbGetState(display_, XkbUseCoreKbd, &state) == Success &&
           (state.locked_mods & LockMask) != 0;
}

void X11KeymapKeyboard::lockCapsLock(bool locked) {
    XkbLockModifiers(display_, XkbUseCoreKbd, LockMask, locked ? LockMask : 0);
    XFlush(display_);
}

void X11KeymapKeyboard::postKey(KeyCode keyCode, bool down) {
    XTestFakeKeyEvent(display_, keyCode, down ? True : False, CurrentTime);
    XFlush(display_);
}

void X11KeymapKeyboard::bindKey(KeyCode keyCode, std::optional<Keysym> keysym) {
    KeySym levels[2] = {keysym.value_or(NoSymbol), keysym.value_or(NoSymbol)};
    XChangeKeyboardMapping(display_, keyCode, 2, levels, 1);
    XFlush(display_);
}

} // namespace kestrelle
