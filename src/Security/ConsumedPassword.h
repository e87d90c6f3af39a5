#pragma once

#include "Runtime/Uuid.h"
#include "Security/PasswordAction.h"
#include "Storage/TransientSecret.h"

#include <memory>

namespace kestrelle {

// A spent invocation approval: the chosen entry's password, which the receiver wipes after use.
struct ConsumedPassword {
    Uuid entryID;
    PasswordAction action;
    std::shared_ptr<TransientSecret> secret;
};

} // namespace kestrelle
