#pragma once

#include "App/SettingsWindow.h"

#include <memory>

namespace kestrelle {

// The Settings window in AppKit: a pane selector over the Passwords and General panes, made
// once and kept when closed. SettingsWindowController::WindowFactory.
std::unique_ptr<SettingsWindow> makeAppKitSettingsWindow(SettingsWindowContent content);

} // namespace kestrelle
