#pragma once

#include "Preferences/KeyValueStore.h"

#include <memory>
#include <string_view>

namespace kestrelle {

// The standard user defaults.
std::unique_ptr<KeyValueStore> makeStandardUserDefaults();

// The defaults of the named suite, for a test that must not touch the user's own.
std::unique_ptr<KeyValueStore> makeSuiteUserDefaults(std::string_view suiteName);

} // namespace kestrelle
