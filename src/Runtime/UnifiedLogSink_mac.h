#pragma once

#include "Runtime/Logger.h"

#include <memory>

namespace kestrelle {

// The unified log: one log object per subsystem and category, each line public.
std::shared_ptr<LogSink> makeUnifiedLogSink();

} // namespace kestrelle
