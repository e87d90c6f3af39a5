#include "Shortcut/HotkeyManager.h"

#include "Runtime/MacKey.h"
#include "Runtime/X11Key.h"

#include <utility>

namespace kestrelle {

namespace {

HotKeyCodes hotKeyCodes(const Hotkey& hotkey, Hotkey::Keyboard keyboard) {
    if (keyboard == Hotkey::Keyboard::mac) {
        return {platformKeyCode(hotkey.key, keyboard),
                {platformModifierMask(macModifiers, hotkey.modifiers)}};
    }
    HotKeyCodes codes{platformKeyCode(hotkey.key, keyboard), {}};
    for (const auto locks : x11LockVariants) {
        codes.modifierMasks.push_back(platformModifierMask(x11Modifiers, hotkey.modifiers) | locks);
    }
    return codes;
}

} // namespace

void HotkeyManager::State::deliver(HotKeyTransition transition) {
    const bool pressed = transition == HotKeyTransition::pressed;
    if (std::exchange(held, pressed) == pressed) {
        return;
    }
    if (const auto& call = pressed ? onPress : onRelease) {
        call();
    }
}

HotkeyManager::HotkeyManager(HotKeyService& service, Executor& executor, Hotkey::Keyboard keyboard)
    : service_(service), executor_(executor), keyboard_(keyboard) {}

HotkeyManager::~HotkeyManager() {
    unregister();
}

ShortcutStatus HotkeyManager::registerHotkey(const Hotkey& hotkey) {
    releaseRegistration();
    if (auto error = hotkey.validationError(keyboard_)) {
        return ShortcutStatus::invalid(*error);
    }
    if (!handlerRef_) {
        // The platform may deliver transitions inside its event dispatch; hop to the main
        // executor so that no callback runs re-entrantly there.
        handlerRef_ =
            service_.installHandler([&executor = executor_, weak = std::weak_ptr<State>(state_)](
                                        HotKeyId id, HotKeyTransition transition) {
                executor.post([weak, id, transition] {
                    if (auto state = weak.lock(); state && id == hotKeyId) {
                        state->deliver(transition);
                    }
                });
            });
        if (!handlerRef_) {
            return ShortcutStatus::conflict("Kestrelle could not install its shortcut handler.");
        }
    }
    auto registered = service_.registerHotKey(hotKeyCodes(hotkey, keyboard_), hotKeyId);
    if (auto* registration = std::get_if<HotKeyRegistration>(&registered)) {
        hotKeyRef_ = *registration;
        return ShortcutStatus::registered();
    }
    const auto& refusal = std::get<HotKeyRefusal>(registered);
    logger_.error("Shortcut registration failed with status {}", refusal.platformStatus);
    const auto shown = hotkey.displayString(keyboard_);
    return ShortcutStatus::conflict(refusal.reason == HotKeyRefusal::Reason::conflict
                                        ? shown + " is already in use. Choose another shortcut."
                                        : "Kestrelle could not register " + shown + ".");
}

void HotkeyManager::releaseRegistration() {
    if (auto registration = std::exchange(hotKeyRef_, std::nullopt)) {
        service_.unregisterHotKey(*registration);
    }
    // A release still to come belongs to the old registration; waiting for it would swallow the
    // next press.
    state_->held = false;
}

void HotkeyManager::unregister() {
    releaseRegistration();
    if (auto handler = std::exchange(handlerRef_, std::nullopt)) {
        service_.removeHandler(*handler);
    }
}

} // namespace kestrelle
