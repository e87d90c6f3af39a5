#pragma once

#include "System/LoginItemSystemService.h"

#include <memory>

namespace kestrelle {

// The main app as a login item through SMAppService's main-app service (macOS 13 and later).
std::shared_ptr<LoginItemSystemService> makeMainAppLoginItem();

} // namespace kestrelle
