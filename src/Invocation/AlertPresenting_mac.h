#pragma once

#include "Invocation/AlertPresenting.h"

#include <memory>

namespace kestrelle {

// NSAlert, run modally from a block on the main queue.
std::unique_ptr<AlertPresenting> makeModalAlerts();

} // namespace kestrelle
