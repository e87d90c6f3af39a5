#pragma once

#include "Invocation/KeyboardEventPosting.h"

#include <memory>

namespace kestrelle {

// Quartz keyboard events (CGEvent) posted to one process.
std::unique_ptr<KeyboardEventPosting> makeQuartzKeyboardEvents();

} // namespace kestrelle
