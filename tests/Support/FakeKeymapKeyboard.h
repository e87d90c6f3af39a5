#pragma once

#include "Invocation/KeymapKeyboard.h"
#include "Runtime/Executor.h"
#include "Runtime/ModifierFlags.h"
#include "Storage/SecureWipe.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string_view>

namespace kestrelle::test {

// An X server's keyboard and the focused field, as far as typing through the keymap goes. A key
// types under the modifiers of its press, the user's and the injected Shift's: Shift picks the
// shifted level, any other modifier swallows the key, and Caps Lock swaps a letter key's two
// cases and upper-cases any other letter. Like GTK and Qt, the field looks a changed keymap up
// only when it handles the key, here `lookupLag` after the press, and uses the mapping as it is
// by then.
class FakeKeymapKeyboard final : public KeymapKeyboard {
public:
    static constexpr Keysym shiftLeft = 0xFFE1;
    // A busy client's.
    static constexpr std::chrono::milliseconds lookupLag{40};

    // A default X server's US keymap as typing sees it: a key with symbols only at higher
    // levels, printable ASCII at both levels, Shift_L, and `freeKeys` keys without any.
    static Keymap usKeymap(std::size_t freeKeys) {
        constexpr std::string_view levels = "`~1!2@3#4$5%6^7&8*9(0)-_=+qQwWeErRtTyYuUiIoOpP[{]}\\|"
                                            "aAsSdDfFgGhHjJkKlL;:'\"zZxXcCvVbBnNmM,<.>/?  ";
        Keymap keymap{.firstKeyCode = 8, .keys = {Key{.boundElsewhere = true}}};
        for (std::size_t index = 0; index < levels.size(); index += 2) {
            keymap.keys.push_back({Keysym(levels[index]), Keysym(levels[index + 1])});
        }
        keymap.keys.push_back({.unshifted = shiftLeft});
        keymap.keys.resize(keymap.keys.size() + freeKeys);
        return keymap;
    }

    FakeKeymapKeyboard(Executor& executor, std::size_t freeKeys)
        : map(usKeymap(freeKeys)), executor_(&executor) {}

    Keymap map;
    // The user's.
    std::uint64_t heldModifiers = 0;
    bool capsLock = false;
    WipingVector<char32_t> typed;
    // Pressed and not released.
    int keysDown = 0;
    // Key presses but Shift's, and what to do right after the one with that number.
    std::size_t keyPresses = 0;
    std::pair<std::size_t, std::function<void()>> onKeyPress;
    // Whether the focused window can be asked if it has handled the keys, and whether it answers.
    bool askable = true;
    bool hung = false;

    Keymap keymap() override { return map; }
    std::uint64_t currentModifierFlags() override { return heldModifiers; }
    bool capsLockLocked() override { return capsLock; }
    void lockCapsLock(bool locked) override { capsLock = locked; }
    void postKey(KeyCode keyCode, bool down) override {
        const bool shiftKey = map.keys.at(keyCode - map.firstKeyCode).unshifted == shiftLeft;
        shiftDown_ = shiftKey ? down : shiftDown_;
        keysDown += down ? 1 : -1;
        if (!down || shiftKey) {
            return;
        }
        if ((heldModifiers & ~modifier::shift) == 0) {
            const bool shifted = shiftDown_ || (heldModifiers & modifier::shift) != 0;
            executor_->scheduleAfter(lookupLag, [this, keyCode, shifted, locked = capsLock] {
                type(map.keys.at(keyCode - map.firstKeyCode), shifted, locked);
            });
        }
        if (++keyPresses == onKeyPress.first) {
            onKeyPress.second();
        }
    }
    void bindKey(KeyCode keyCode, std::optional<Keysym> keysym) override {
        map.keys.at(keyCode - map.firstKeyCode) = keysym ? Key{*keysym, *keysym} : Key{};
    }
    bool askWhenKeysHandled(std::function<void()> handled) override {
        if (askable && !hung) {
            executor_->post(std::move(handled));
        }
        return askable;
    }

private:
    static Keysym upperCase(Keysym keysym) {
        const bool lower = (keysym >= 'a' && keysym <= 'z') ||
                           (keysym >= 0xE0 && keysym <= 0xFE && keysym != 0xF7);
        return lower ? keysym - 0x20 : keysym;
    }
    void type(const Key& key, bool shifted, bool locked) {
        Keysym keysym = shifted && key.shifted != 0 ? key.shifted : key.unshifted;
        const bool letterKey =
            key.unshifted != key.shifted && upperCase(key.unshifted) == key.shifted;
        if (locked && letterKey) {
            keysym = keysym == key.shifted ? key.unshifted : key.shifted;
        } else if (locked) {
            keysym = upperCase(keysym);
        }
        if (keysym != 0) {
            typed.push_back(keysym >= 0x01000000 ? keysym & 0xFFFFFF : keysym);
        }
    }

    Executor* executor_;
    bool shiftDown_ = false;
};

} // namespace kestrelle::test
