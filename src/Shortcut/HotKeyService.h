#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace kestrelle {

// The identity a registration carries and every press reports back.
struct HotKeyId {
    std::uint32_t signature = 0;
    std::uint32_t id = 0;
    friend bool operator==(const HotKeyId&, const HotKeyId&) = default;
};

// Opaque references owned by the service's platform side.
enum class HotKeyRegistration : std::uintptr_t {};
enum class HotKeyHandler : std::uintptr_t {};

// The system's global hot-key service. Statuses are the platform's (0 is success).
// Real: Carbon's event hot keys on macOS. Fake: test::FakeHotKeyService.
class HotKeyService {
public:
    struct InstallResult {
        std::int32_t status = 0;
        std::optional<HotKeyHandler> handler;
    };
    struct RegisterResult {
        std::int32_t status = 0;
        std::optional<HotKeyRegistration> registration;
    };

    virtual ~HotKeyService() = default;

    // Installs the application's press handler; `onPress` may be called from the platform's
    // event dispatch with the pressed key's id.
    virtual InstallResult installHandler(std::function<void(HotKeyId)> onPress) = 0;
    virtual void removeHandler(HotKeyHandler handler) = 0;
    virtual RegisterResult registerHotKey(std::uint32_t keyCode, std::uint32_t carbonModifiers,
                                          HotKeyId id) = 0;
    virtual void unregisterHotKey(HotKeyRegistration registration) = 0;
};

} // namespace kestrelle
