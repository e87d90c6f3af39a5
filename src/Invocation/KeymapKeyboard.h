#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace kestrelle {

// A keyboard whose synthetic keys type what the keymap binds to them (X11 with XTest). Keys go
// to whatever has the focus and combine with the modifier keys the user holds. Each call is one
// request to the platform, so the injector decides every key, binding and order. Implemented in
// KeymapKeyboard_linux.h; faked by test::FakeKeymapKeyboard.
class KeymapKeyboard {
public:
    using KeyCode = std::uint8_t;
    // The platform's keysym values; 0 is no symbol.
    using Keysym = std::uint32_t;

    struct Key {
        Keysym unshifted = 0;
        Keysym shifted = 0;
        // A symbol at some further level or group keeps the key from counting as free.
        bool boundElsewhere = false;

        friend bool operator==(const Key&, const Key&) = default;
    };
    struct Keymap {
        KeyCode firstKeyCode = 8;
        // One per key code, from `firstKeyCode` on.
        std::vector<Key> keys;
    };

    virtual ~KeymapKeyboard() = default;

    virtual Keymap keymap() = 0;
    // The modifier keys held right now, as modifier:: bits.
    virtual std::uint64_t currentModifierFlags() = 0;
    // Whether Caps Lock is locked: keys then type letters in the other case, and a letter bound
    // at both levels in upper case. Locking or unlocking applies to the keys posted after it.
    virtual bool capsLockLocked() = 0;
    virtual void lockCapsLock(bool locked) = 0;
    virtual void postKey(KeyCode keyCode, bool down) = 0;
    // Binds the key at both levels to `keysym`, or with none leaves it without any symbol.
    virtual void bindKey(KeyCode keyCode, std::optional<Keysym> keysym) = 0;
    // Asks the window that has the focus to say once it has handled every key posted so far;
    // `handled` then runs on the main thread, at most once. False, and `handled` never runs,
    // when that window cannot be asked.
    virtual bool askWhenKeysHandled(std::function<void()> handled) = 0;
};

} // namespace kestrelle
