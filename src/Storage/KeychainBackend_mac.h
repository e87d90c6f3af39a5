#pragma once

#include "Storage/KeychainBackend.h"

#include <memory>

namespace kestrelle {

// The data-protection Keychain through SecItem, with LAContext as the authentication context.
std::unique_ptr<KeychainBackend> makeDataProtectionKeychain();

} // namespace kestrelle
