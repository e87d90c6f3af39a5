#pragma once

#include "App/SoftwareUpdater.h"

#include <memory>

namespace kestrelle {

// Sparkle's standard updater controller when the app is built with the Sparkle framework
// (-DKESTRELLE_SPARKLE_FRAMEWORK=…/Sparkle.framework); otherwise no updater, and "Check for
// Updates…" does nothing.
std::unique_ptr<SoftwareUpdater> makeSoftwareUpdater();

} // namespace kestrelle
