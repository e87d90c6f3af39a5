#pragma once

#include "Shortcut/HotKeyService.h"

#include <memory>

namespace kestrelle {

// Carbon's event hot keys on the application event target. A registration registers the key with
// each modifier mask, all or nothing; any refusal of RegisterEventHotKey is a conflict with its
// status. Presses (auto-repeat included) and releases come from the main thread's event dispatch;
// HotkeyManager moves them to the main executor.
std::unique_ptr<HotKeyService> makeCarbonHotKeyService();

} // namespace kestrelle
