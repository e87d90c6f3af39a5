#pragma once

#include "Invocation/PasteboardService.h"

#include <memory>

namespace kestrelle {

// The general NSPasteboard, with the types PasteboardService names for macOS.
std::unique_ptr<PasteboardService> makeGeneralPasteboard();

} // namespace kestrelle
