#pragma once

#include "Invocation/InputInjectionError.h"

#include <cstdint>
#include <optional>

namespace kestrelle {

// The text field an invocation may type into, and nowhere else.
// Implemented by AccessibilityInsertionTarget; faked by test::FakeInsertionTarget.
class CapturedInsertionTarget {
public:
    virtual ~CapturedInsertionTarget() = default;

    // The process that owns the field, and the only one typed to.
    virtual std::int32_t processIdentifier() const = 0;
    // None while the captured field is still the focused text field of the frontmost
    // application; otherwise why typing must not go on.
    virtual std::optional<InputInjectionError> validationError() = 0;
    // An application was activated during the invocation (none: it is not known which). Any
    // but the field's own makes every later validation fail.
    virtual void recordApplicationActivation(std::optional<std::int32_t> processIdentifier) = 0;
};

} // namespace kestrelle
