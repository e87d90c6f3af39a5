#pragma once

#include "Storage/TransientSecret.h"

namespace kestrelle {

// Puts a password on the pasteboard.
class PasswordCopying {
public:
    virtual ~PasswordCopying() = default;

    // Throws InputInjectionError `invalidUTF8`. The secret is borrowed.
    virtual void copy(const TransientSecret& secret) = 0;
};

} // namespace kestrelle
