#pragma once

namespace kestrelle {

// Whether the app starts at login, as the platform reports it.
enum class LoginItemState { enabled, notRegistered, requiresApproval, unavailable };

} // namespace kestrelle
