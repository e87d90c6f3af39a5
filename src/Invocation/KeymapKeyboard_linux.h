#pragma once

#include "Invocation/KeymapKeyboard.h"
#include "Runtime/X11Connection_linux.h"

namespace kestrelle {

// The keyboard of the X server, through XTest and XKB on Qt's X connection:
// - keymap: the core keyboard mapping, with group 1's first two levels as a key's unshifted and
//   shifted symbols; a symbol in any other column (group 2, level 3 and above) is boundElsewhere;
// - currentModifierFlags: XKB's effective modifier state (held, latched or locked) of the core
//   keyboard, Shift, Control, Mod1 and Mod4 as Shift, Control, Alt and Super. Caps Lock and Num
//   Lock are not among them. When the state cannot be read every modifier counts as held;
// - capsLockLocked: whether XKB's locked modifiers of the core keyboard hold Lock (Caps Lock),
//   false when the state cannot be read;
// - lockCapsLock: XkbLockModifiers on the core keyboard's Lock modifier, sent at once;
// - postKey: an XTest key event, sent at once;
// - bindKey: the core mapping of one key code changed to the symbol at both levels of group 1,
//   or to no symbol at all, sent at once. Every client, Qt included, reloads its keymap when it
//   next handles a key.
class X11KeymapKeyboard final : public KeymapKeyboard {
public:
    // Uses the Qt application object's connection: the application must outlive it.
    X11KeymapKeyboard();

    Keymap keymap() override;
    std::uint64_t currentModifierFlags() override;
    bool capsLockLocked() override;
    void lockCapsLock(bool locked) override;
    void postKey(KeyCode keyCode, bool down) override;
    void bindKey(KeyCode keyCode, std::optional<Keysym> keysym) override;

private:
    Display* const display_;
};

} // namespace kestrelle
