#pragma once

#include "Invocation/CapturedInsertionTarget.h"
#include "Runtime/Task.h"
#include "Runtime/Uuid.h"
#include "Storage/TransientSecret.h"

#include <memory>

namespace kestrelle {

// Types a password into a captured text field.
class PasswordInjecting {
public:
    virtual ~PasswordInjecting() = default;

    // Returns once the whole password was posted. Throws InputInjectionError, or CancelledError
    // when the generation moved or the operation was cancelled; what was typed by then stays.
    // The secret is borrowed and must outlive the task; a null target is `unavailableTarget`.
    virtual Task<void> insert(const TransientSecret& secret,
                              std::shared_ptr<CapturedInsertionTarget> target) = 0;

    // Each insertion keeps the value it started with; writing a fresh one stops it at its next
    // check.
    virtual Uuid generation() const = 0;
    virtual void setGeneration(Uuid generation) = 0;
};

} // namespace kestrelle
