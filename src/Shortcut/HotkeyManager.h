#pragma once

#include "Runtime/Executor.h"
#include "Runtime/Logger.h"
#include "Shortcut/HotKeyService.h"
#include "Shortcut/Hotkey.h"
#include "Shortcut/ShortcutStatus.h"

#include <functional>
#include <memory>
#include <optional>

namespace kestrelle {

// Registers the one global shortcut and calls `onFire` on the main executor for each press.
class HotkeyManager {
public:
    // "kstl", the signature every registration carries, with id 1.
    static constexpr HotKeyId hotKeyId{0x6B73746C, 1};

    HotkeyManager(HotKeyService& service, Executor& executor);
    HotkeyManager(const HotkeyManager&) = delete;
    HotkeyManager& operator=(const HotkeyManager&) = delete;
    ~HotkeyManager();

    // Releases the current shortcut first, so a refused one leaves none active.
    ShortcutStatus registerHotkey(const Hotkey& hotkey);
    void unregister();

    void setOnFire(std::function<void()> onFire) { state_->onFire = std::move(onFire); }
    bool isRegistered() const { return hotKeyRef_.has_value(); }

private:
    // Outlives the manager in posted presses, which then find no one to call.
    struct State {
        std::function<void()> onFire;
    };

    HotKeyService& service_;
    Executor& executor_;
    Logger logger_{"Hotkey"};
    std::optional<HotKeyRegistration> hotKeyRef_;
    std::optional<HotKeyHandler> handlerRef_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace kestrelle
