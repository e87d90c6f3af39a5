#pragma once

#include "Runtime/Executor.h"
#include "Runtime/Uuid.h"

namespace kestrelle {

// An approved invocation, as its coordinator holds it: spendable once, until `expiresAt`.
struct InvocationSession {
    Uuid invocationID;
    Uuid nonce;
    WallTime expiresAt;

    friend bool operator==(const InvocationSession&, const InvocationSession&) = default;
};

} // namespace kestrelle
