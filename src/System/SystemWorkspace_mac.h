#pragma once

#include "System/SystemWorkspace.h"

#include <memory>

namespace kestrelle {

// The shared NSWorkspace: URLs open in their default handlers, files are revealed in the Finder.
std::unique_ptr<SystemWorkspace> makeSharedWorkspace();

} // namespace kestrelle
