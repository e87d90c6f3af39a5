#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <variant>
#include <vector>

namespace kestrelle {

// The identity a registration carries and every press and release reports back.
struct HotKeyId {
    std::uint32_t signature = 0;
    std::uint32_t id = 0;
    friend bool operator==(const HotKeyId&, const HotKeyId&) = default;
};

enum class HotKeyTransition { pressed, released };

// The shortcut in the platform's own numbers, from the core's tables (HotkeyManager):
// - macOS: the virtual key code, and one Carbon modifier mask;
// - X11: the keysym, and the X modifier mask once with each combination of Caps Lock and
//   Num Lock (Runtime/X11Key.h), since a passive grab only matches the exact state it names.
// The service registers every mask as one registration, all or nothing.
struct HotKeyCodes {
    std::uint32_t key = 0;
    std::vector<std::uint32_t> modifierMasks;
};

// Why the system refused a registration.
struct HotKeyRefusal {
    enum class Reason {
        // Another client holds the shortcut (X11: BadAccess on a grab). On macOS every refusal
        // of RegisterEventHotKey is reported so: the user's way out is the same.
        conflict,
        failed,
    };
    Reason reason = Reason::failed;
    // The platform's own status (macOS: the OSStatus; X11: the X error code), for logs.
    std::int32_t platformStatus = 0;
};

// Opaque references owned by the service's platform side.
enum class HotKeyRegistration : std::uintptr_t {};
enum class HotKeyHandler : std::uintptr_t {};

// The system's global hot-key service. Real: Carbon's event hot keys on macOS, a key grab on
// the root window on X11 (HotKeyService_linux.h). Fake: test::FakeHotKeyService.
class HotKeyService {
public:
    using RegisterResult = std::variant<HotKeyRegistration, HotKeyRefusal>;

    virtual ~HotKeyService() = default;

    // Installs the application's handler; none when that fails. `onTransition` may be called
    // from the platform's event dispatch with the key's id, at every press (auto-repeat
    // included, when the platform repeats) and every release.
    virtual std::optional<HotKeyHandler>
    installHandler(std::function<void(HotKeyId, HotKeyTransition)> onTransition) = 0;
    virtual void removeHandler(HotKeyHandler handler) = 0;
    virtual RegisterResult registerHotKey(const HotKeyCodes& codes, HotKeyId id) = 0;
    virtual void unregisterHotKey(HotKeyRegistration registration) = 0;
};

} // namespace kestrelle
