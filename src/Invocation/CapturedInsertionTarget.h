#pragma once

#include "Invocation/CapturedTargetIdentity.h"
#include "Invocation/InputInjectionError.h"
#include "Invocation/TargetChangeRecording.h"

#include <optional>

namespace kestrelle {

// The text field an invocation may type into, and nowhere else.
class CapturedInsertionTarget : public CapturedTargetIdentity, public TargetChangeRecording {
public:
    // None while the captured field is still the focused text field of the frontmost
    // application; otherwise why typing must not go on.
    virtual std::optional<InputInjectionError> validationError() = 0;
};

} // namespace kestrelle
