#include "Shortcut/HotkeyManager.h"

namespace kestrelle {

HotkeyManager::HotkeyManager(HotKeyService& service, Executor& executor)
    : service_(service), executor_(executor) {}

HotkeyManager::~HotkeyManager() {
    unregister();
}

ShortcutStatus HotkeyManager::registerHotkey(const Hotkey& hotkey) {
    if (auto registration = std::exchange(hotKeyRef_, std::nullopt)) {
        service_.unregisterHotKey(*registration);
    }
    if (auto error = hotkey.validationError()) {
        return ShortcutStatus::invalid(*error);
    }
    if (!handlerRef_) {
        // The platform may deliver presses inside its event dispatch; hop to the main executor
        // so `onFire` never runs re-entrantly there.
        auto installed = service_.installHandler(
            [&executor = executor_, weak = std::weak_ptr<State>(state_)](HotKeyId pressed) {
                executor.post([weak, pressed] {
                    auto state = weak.lock();
                    if (state && pressed == hotKeyId && state->onFire) {
                        state->onFire();
                    }
                });
            });
        if (installed.status != 0 || !installed.handler) {
            return ShortcutStatus::conflict("Kestrelle could not install its shortcut handler.");
        }
        handlerRef_ = installed.handler;
    }
    auto registered = service_.registerHotKey(hotkey.keyCode, hotkey.carbonModifiers(), hotKeyId);
    if (registered.status == 0 && registered.registration) {
        hotKeyRef_ = registered.registration;
        return ShortcutStatus::registered();
    }
    logger_.error("Shortcut registration failed with status {}", registered.status);
    return ShortcutStatus::conflict(hotkey.displayString() +
                                    " is already in use. Choose another shortcut.");
}

void HotkeyManager::unregister() {
    if (auto registration = std::exchange(hotKeyRef_, std::nullopt)) {
        service_.unregisterHotKey(*registration);
    }
    if (auto handler = std::exchange(handlerRef_, std::nullopt)) {
        service_.removeHandler(*handler);
    }
}

} // namespace kestrelle
