#pragma once

#include "App/StatusBar.h"

#include <memory>

namespace kestrelle {

// The system status bar's item: a square button with a symbol image, and its menu.
std::unique_ptr<StatusBar> makeSystemStatusBar();

} // namespace kestrelle
