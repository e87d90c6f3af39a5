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

// Registers the one global shortcut and calls `onPress` and `onRelease` on the main executor
// once per keystroke: presses repeated while the shortcut is held (auto-repeat) are dropped, and
// so is a release without its press.
class HotkeyManager {
public:
    // "kstl", the signature every registration carries, with id 1.
    static constexpr HotKeyId hotKeyId{0x6B73746C, 1};

    HotkeyManager(HotKeyService& service, Executor& executor, Hotkey::Keyboard keyboard);
    HotkeyManager(const HotkeyManager&) = delete;
    HotkeyManager& operator=(const HotkeyManager&) = delete;
    ~HotkeyManager();

    // Releases the current shortcut first, so a refused one leaves none active.
    ShortcutStatus registerHotkey(const Hotkey& hotkey);
    void unregister();

    void setOnPress(std::function<void()> onPress) { state_->onPress = std::move(onPress); }
    void setOnRelease(std::function<void()> onRelease) { state_->onRelease = std::move(onRelease); }
    bool isRegistered() const { return hotKeyRef_.has_value(); }

private:
    // Outlives the manager in posted transitions, which then find no one to call.
    struct State {
        std::function<void()> onPress;
        std::function<void()> onRelease;
        bool held = false;

        // A press while held (auto-repeat) and a release without its press call no one.
        void deliver(HotKeyTransition transition);
    };

    void releaseRegistration();

    HotKeyService& service_;
    Executor& executor_;
    Hotkey::Keyboard keyboard_;
    Logger logger_{"Hotkey"};
    std::optional<HotKeyRegistration> hotKeyRef_;
    std::optional<HotKeyHandler> handlerRef_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace kestrelle
