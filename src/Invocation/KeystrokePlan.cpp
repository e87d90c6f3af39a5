#include "Invocation/KeystrokePlan.h"

#include "Invocation/InputInjectionError.h"

#include <algorithm>
#include <unordered_map>

namespace kestrelle {

namespace {

using KeyCode = KeymapKeyboard::KeyCode;
using Keysym = KeymapKeyboard::Keysym;

constexpr Keysym shiftLeft = 0xFFE1;

// What the keymap itself offers: a keystroke per keysym it binds at either level, and the key
// codes with no symbol at all.
struct KeymapIndex {
    explicit KeymapIndex(const KeymapKeyboard::Keymap& keymap) {
        // Key codes stop at 255, whatever the snapshot claims.
        const std::size_t count =
            std::min<std::size_t>(keymap.keys.size(), 256 - keymap.firstKeyCode);
        const auto keyCodeAt = [&](std::size_t index) {
            return static_cast<KeyCode>(keymap.firstKeyCode + index);
        };
        std::optional<KeyCode> shiftKey;
        for (std::size_t index = 0; index < count; ++index) {
            const auto& key = keymap.keys[index];
            if (key.unshifted != 0) {
                strokes.try_emplace(key.unshifted, Keystroke{.keyCode = keyCodeAt(index),
                                                             .shiftKey = std::nullopt});
            }
            if (key.unshifted == shiftLeft && !shiftKey) {
                shiftKey = keyCodeAt(index);
            }
        }
        for (std::size_t index = 0; index < count; ++index) {
            const auto& key = keymap.keys[index];
            if (key.shifted != 0 && shiftKey) {
                strokes.try_emplace(key.shifted,
                                    Keystroke{.keyCode = keyCodeAt(index), .shiftKey = shiftKey});
            }
        }
        // The highest key codes are the least likely to be on a real keyboard.
        for (std::size_t index = count; index-- > 0;) {
            const auto& key = keymap.keys[index];
            if (key.unshifted == 0 && key.shifted == 0 && !key.boundElsewhere) {
                freeKeys.push_back(keyCodeAt(index));
            }
        }
    }

    bool has(Keysym keysym) const { return strokes.contains(keysym); }

    std::unordered_map<Keysym, Keystroke> strokes;
    std::vector<KeyCode> freeKeys;
};

bool contains(const WipingVector<Keysym>& keysyms, Keysym keysym) {
    return std::ranges::find(keysyms, keysym) != keysyms.end();
}

// Binds free keys to the characters the keymap lacks from the start of `coming` on, in order of
// first need and as many as there are free keys, keeping every binding still among them.
// `boundTo` holds each free key's keysym, 0 while it has none.
void bindComing(const KeymapIndex& index, std::span<const char32_t> coming,
                WipingVector<Keysym>& boundTo, KeystrokePlan& plan) {
    WipingVector<Keysym> needed;
    for (const char32_t codePoint : coming) {
        if (needed.size() == index.freeKeys.size()) {
            break;
        }
        const Keysym keysym = keysymFor(codePoint);
        if (!index.has(keysym) && !contains(needed, keysym)) {
            needed.push_back(keysym);
        }
    }
    for (const Keysym keysym : needed) {
        if (contains(boundTo, keysym)) {
            continue;
        }
        // There is always one: `needed` has no more keysyms than there are free keys.
        const auto slot =
            std::ranges::find_if(boundTo, [&](Keysym bound) { return !contains(needed, bound); });
        *slot = keysym;
        plan.push_back(
            KeyBinding{.keyCode = index.freeKeys[slot - boundTo.begin()], .keysym = keysym});
    }
}

} // namespace

KeystrokePlan planKeystrokes(const KeymapKeyboard::Keymap& keymap,
                             std::span<const char32_t> codePoints) {
    const KeymapIndex index(keymap);
    WipingVector<Keysym> boundTo(index.freeKeys.size(), 0);
    KeystrokePlan plan;
    plan.reserve(codePoints.size());
    for (std::size_t position = 0; position < codePoints.size(); ++position) {
        const Keysym keysym = keysymFor(codePoints[position]);
        if (const auto own = index.strokes.find(keysym); own != index.strokes.end()) {
            plan.push_back(own->second);
            continue;
        }
        auto slot = std::ranges::find(boundTo, keysym);
        if (slot == boundTo.end()) {
            if (index.freeKeys.empty()) {
                throw InputInjectionError(InputInjectionError::Kind::noFreeKey);
            }
            bindComing(index, codePoints.subspan(position), boundTo, plan);
            slot = std::ranges::find(boundTo, keysym);
        }
        plan.push_back(
            Keystroke{.keyCode = index.freeKeys[slot - boundTo.begin()], .shiftKey = std::nullopt});
    }
    return plan;
}

} // namespace kestrelle
