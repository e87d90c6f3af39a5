#pragma once

#include "App/SettingsWindow.h"

#include <memory>

namespace kestrelle {

// The Settings window as a Qt top-level widget with the Passwords and General panes; what
// main_linux.cpp passes as the Settings window factory. Needs a QApplication.
std::unique_ptr<SettingsWindow> makeQtSettingsWindow(SettingsWindowContent content);

} // namespace kestrelle
