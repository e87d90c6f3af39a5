#pragma once

#include "Invocation/AccessibilityService.h"

#include <memory>

namespace kestrelle {

// The accessibility service over AXUIElement. An element holds one reference to its AXUIElementRef;
// every copied attribute value is released before the read returns. Values are reported by their
// Core Foundation kind: booleans, numbers (as doubles) and strings; elements and arrays of
// elements through copyElement and copyElements. Observers deliver on the main run loop in its
// common modes, so focus changes arrive while a menu tracks.
std::unique_ptr<AccessibilityService> makeAxAccessibilityService();

// The trust probe: AXIsProcessTrusted, without side effects.
bool isAccessibilityTrusted();
// The trust prompt: asks the system to offer the Accessibility pane for this app.
void promptForAccessibilityTrust();

} // namespace kestrelle
