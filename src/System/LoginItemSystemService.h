#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrelle {

// The platform's record of the main app as a login item. Real: SMAppService's main-app service
// (macOS), an XDG autostart entry (Linux). Fake: tests/Support/FakeLoginItemSystem.h. Every call
// is made on the main thread; registering may block briefly there, as the platform's call does.
class LoginItemSystemService {
public:
    // Called once, from any thread, with the platform error's description when the request
    // failed and nothing when it succeeded; the service hops back to the main thread.
    using Completion = std::function<void(std::optional<std::string> errorDescription)>;

    // The platform's own values.
    static constexpr std::int64_t statusNotRegistered = 0;
    static constexpr std::int64_t statusEnabled = 1;
    static constexpr std::int64_t statusRequiresApproval = 2;
    static constexpr std::int64_t statusNotFound = 3;

    virtual ~LoginItemSystemService() = default;

    virtual std::int64_t status() = 0;
    // Named so because `register` is a keyword.
    virtual void registerItem(Completion completion) = 0;
    virtual void unregisterItem(Completion completion) = 0;
    // The one call that opens the Login Items list in System Settings, where the user approves
    // a pending item.
    virtual void openLoginItemsSettings() = 0;
};

} // namespace kestrelle
