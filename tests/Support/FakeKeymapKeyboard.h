#pragma once

#include "Invocation/InputInjector.h"
#include "Invocation/KeymapKeyboard.h"
#include "Runtime/Executor.h"
#include "Runtime/ModifierFlags.h"
#include "Storage/SecureWipe.h"

#include <functional>
#include <optional>
#include <string_view>

namespace kestrelle::test {

// An X server's keyboard and the focused field, as far as typing through the keymap goes. The
// field gets what each key types under the mapping and the modifiers held, the user's and the
// injected Shift's: Shift picks the shifted level, any other modifier swallows the key. Clients
// take InputInjector::mappingSettle to fetch a changed mapping; a key pressed sooner types
// nothing.
class FakeKeymapKeyboard final : public KeymapKeyboard {
public:
    static constexpr Keysym shiftLeft = 0xFFE1;

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

    FakeKeymapKeyboard(const Executor& clock, std::size_t freeKeys)
        : map(usKeymap(freeKeys)), clock_(&clock) {}

    Keymap map;
    // The user's.
    std::uint64_t heldModifiers = 0;
    WipingVector<char32_t> typed;
    // Pressed and not released.
    int keysDown = 0;
    // Key presses but Shift's, and what to do right after the one with that number.
    std::size_t keyPresses = 0;
    std::pair<std::size_t, std::function<void()>> onKeyPress;

    Keymap keymap() override { return map; }
    std::uint64_t currentModifierFlags() override { return heldModifiers; }
    void postKey(KeyCode keyCode, bool down) override {
        const Key key = map.keys.at(keyCode - map.firstKeyCode);
        shiftDown_ = key.unshifted == shiftLeft ? down : shiftDown_;
        keysDown += down ? 1 : -1;
        if (!down || key.unshifted == shiftLeft) {
            return;
        }
        const bool shifted = shiftDown_ || (heldModifiers & modifier::shift) != 0;
        const Keysym keysym = shifted && key.shifted != 0 ? key.shifted : key.unshifted;
        const bool fetched =
            !changedAt_ || clock_->monotonicNow() - *changedAt_ >= InputInjector::mappingSettle;
        if ((heldModifiers & ~modifier::shift) == 0 && keysym != 0 && fetched) {
            typed.push_back(keysym >= 0x01000000 ? keysym & 0xFFFFFF : keysym);
        }
        if (++keyPresses == onKeyPress.first) {
            onKeyPress.second();
        }
    }
    void bindKey(KeyCode keyCode, std::optional<Keysym> keysym) override {
        map.keys.at(keyCode - map.firstKeyCode) = keysym ? Key{*keysym, *keysym} : Key{};
        changedAt_ = clock_->monotonicNow();
    }

private:
    const Executor* clock_;
    bool shiftDown_ = false;
    std::optional<MonotonicTime> changedAt_;
};

} // namespace kestrelle::test
