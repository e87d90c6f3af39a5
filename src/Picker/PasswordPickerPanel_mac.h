#pragma once

#include "Picker/PasswordPickerPanel.h"

#include <memory>

namespace kestrelle {

// The picker's non-activating NSPanel with its AppKit content view and NSEvent monitors.
std::unique_ptr<PasswordPickerPanel> makePasswordPickerPanel();

} // namespace kestrelle
