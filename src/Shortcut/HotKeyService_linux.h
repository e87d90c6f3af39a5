#pragma once

#include "Runtime/X11Connection_linux.h"
#include "Shortcut/HotKeyService.h"

#include <QAbstractNativeEventFilter>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <variant>
#include <vector>

namespace kestrelle {

// Global shortcuts as passive key grabs on the root window, on Qt's X connection. A registration
// grabs each key code that carries the keysym with each modifier mask, all or nothing: when one
// grab fails the others are released. BadAccess (another client holds the combination) is a
// conflict, any other X error a failure with its code, a keysym on no key a failure with status 0.
// The grabs report to the root window even over Kestrelle's own windows, as on macOS. Detectable
// auto-repeat is switched on for the connection, so a held shortcut gives repeated presses and
// one release. Transitions come from Qt's event dispatch: a press of a grabbed key code in a
// modifier state that is one of the masks, and any release of it (the grab its press started
// lasts until then, whichever modifier keys were let go first). When the keyboard map changes
// (a core MappingNotify or XKB's new-keyboard and map notifications), each registration's keysym
// is looked up again and its grabs move to the key codes that now carry it.
class X11HotKeyService final : public HotKeyService, private QAbstractNativeEventFilter {
public:
    // Installs its event filter on the Qt application object, which must outlive it.
    X11HotKeyService();
    X11HotKeyService(const X11HotKeyService&) = delete;
    X11HotKeyService& operator=(const X11HotKeyService&) = delete;
    ~X11HotKeyService() override;

    std::optional<HotKeyHandler>
    installHandler(std::function<void(HotKeyId, HotKeyTransition)> onTransition) override;
    void removeHandler(HotKeyHandler handler) override;
    RegisterResult registerHotKey(const HotKeyCodes& codes, HotKeyId id) override;
    void unregisterHotKey(HotKeyRegistration registration) override;

private:
    struct Grab {
        xcb_keycode_t keyCode = 0;
        std::uint16_t modifiers = 0;
    };
    struct Registration {
        HotKeyId id;
        HotKeyCodes codes;
        std::vector<Grab> grabs;
    };

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    std::vector<xcb_keycode_t> keyCodes(std::uint32_t keysym) const;
    // The grabs granted, or the refusal, with none of them left in place.
    std::variant<std::vector<Grab>, HotKeyRefusal> grab(const HotKeyCodes& codes) const;
    void ungrab(const std::vector<Grab>& grabs) const;
    bool isKeymapChange(const xcb_generic_event_t& event) const;
    void regrab();

    const X11Connection x11_;
    std::optional<std::uint8_t> xkbEventBase_;
    std::uintptr_t nextReference_ = 0;
    std::map<std::uintptr_t, std::function<void(HotKeyId, HotKeyTransition)>> handlers_;
    std::map<std::uintptr_t, Registration> registrations_;
};

} // namespace kestrelle
