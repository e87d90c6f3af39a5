#include "Preferences/Settings.h"

#include "Runtime/Check.h"

#include <cmath>
#include <limits>

namespace kestrelle {

namespace {

// A stored whole number, however the store typed it. Booleans, texts and fractions are not.
struct WholeNumber {
    bool negative;
    std::uint64_t magnitude; // saturates for numbers beyond 64 bits
};

std::optional<WholeNumber> wholeNumber(const StoredValue& value) {
    if (auto* integer = std::get_if<std::int64_t>(&value)) {
        auto magnitude = *integer < 0 ? 0 - static_cast<std::uint64_t>(*integer)
                                      : static_cast<std::uint64_t>(*integer);
        return WholeNumber{*integer < 0, magnitude};
    }
    if (auto* unsignedInteger = std::get_if<std::uint64_t>(&value)) {
        return WholeNumber{false, *unsignedInteger};
    }
    if (auto* real = std::get_if<double>(&value);
        real && std::isfinite(*real) && std::trunc(*real) == *real) {
        constexpr double limit = 18446744073709551616.0; // 2^64
        auto magnitude = std::fabs(*real);
        return WholeNumber{*real < 0 && magnitude != 0,
                           magnitude >= limit ? std::numeric_limits<std::uint64_t>::max()
                                              : static_cast<std::uint64_t>(magnitude)};
    }
    return std::nullopt;
}

BiometricReuseWindow loadReuseWindow(const KeyValueStore& defaults) {
    auto number = wholeNumber(defaults.read(settingsKey::biometricReuseWindowSeconds));
    if (!number || number->negative ||
        number->magnitude > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return defaultBiometricReuseWindow;
    }
    return biometricReuseWindowFromRawValue(static_cast<std::int64_t>(number->magnitude))
        .value_or(defaultBiometricReuseWindow);
}

Hotkey loadHotkey(const KeyValueStore& defaults, Hotkey::Keyboard keyboard) {
    const auto fallback = Hotkey::defaultShortcut(keyboard);
    auto keyCode = wholeNumber(defaults.read(settingsKey::hotkeyKeyCode));
    if (!keyCode) {
        return fallback;
    }
    // A stored key code is never kept without its modifiers.
    auto modifiers = wholeNumber(defaults.read(settingsKey::hotkeyModifiers));
    if (!modifiers || modifiers->negative) {
        return fallback;
    }
    // No key has such a code: whatever wrote it is broken, and guessing would hide that.
    KESTRELLE_CHECK(!keyCode->negative &&
                        keyCode->magnitude <= std::numeric_limits<std::uint32_t>::max(),
                    "Stored shortcut key code is out of range");
    return Hotkey{hotkeyKey(static_cast<std::uint32_t>(keyCode->magnitude), keyboard),
                  modifiers->magnitude & modifier::deviceIndependentMask};
}

} // namespace

Settings::Settings(KeyValueStore& defaults, Hotkey::Keyboard keyboard)
    : defaults_(defaults), keyboard_(keyboard), hotkey_(loadHotkey(defaults, keyboard)),
      biometricReuseWindow_(loadReuseWindow(defaults)) {}

void Settings::setHotkey(const Hotkey& hotkey) {
    willChange_.emit();
    hotkey_.set(hotkey);
    defaults_.writeInteger(settingsKey::hotkeyKeyCode, platformKeyCode(hotkey.key, keyboard_));
    defaults_.writeUnsigned(settingsKey::hotkeyModifiers, hotkey.modifiers);
}

void Settings::setBiometricReuseWindow(BiometricReuseWindow window) {
    willChange_.emit();
    biometricReuseWindow_.set(window);
    defaults_.writeInteger(settingsKey::biometricReuseWindowSeconds, rawValue(window));
}

void Settings::setShortcutStatus(ShortcutStatus status) {
    willChange_.emit();
    shortcutStatus_.set(std::move(status));
}

Subscription Settings::subscribeHotkey(std::function<void(const Hotkey&)> observer) {
    return hotkey_.subscribe(std::move(observer));
}

Subscription
Settings::subscribeBiometricReuseWindow(std::function<void(const BiometricReuseWindow&)> observer) {
    return biometricReuseWindow_.subscribe(std::move(observer));
}

Subscription
Settings::subscribeShortcutStatus(std::function<void(const ShortcutStatus&)> observer) {
    return shortcutStatus_.subscribe(std::move(observer));
}

Subscription Settings::subscribeWillChange(std::function<void()> observer) {
    return willChange_.subscribe(std::move(observer));
}

} // namespace kestrelle
