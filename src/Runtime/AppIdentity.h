#pragma once

#include <string_view>

#ifndef KESTRELLE_BUNDLE_IDENTIFIER
#define KESTRELLE_BUNDLE_IDENTIFIER "app.kestrelle.Kestrelle"
#endif

namespace kestrelle {

// The bundle identifier compiled into the program: the log subsystem, and with ".passwords"
// the Keychain service. Used when the running bundle reports none.
inline constexpr std::string_view fixedBundleIdentifier = KESTRELLE_BUNDLE_IDENTIFIER;

} // namespace kestrelle
