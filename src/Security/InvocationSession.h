#pragma once

#include "Runtime/Executor.h"
#include "Runtime/Uuid.h"

#include <functional>

namespace kestrelle {

// An approved invocation, as its coordinator holds it: spendable once, until `expiresAt`.
struct InvocationSession {
    Uuid invocationID;
    Uuid nonce;
    WallTime expiresAt;

    friend bool operator==(const InvocationSession&, const InvocationSession&) = default;
};

} // namespace kestrelle

template <>
struct std::hash<kestrelle::InvocationSession> {
    std::size_t operator()(const kestrelle::InvocationSession& session) const noexcept {
        return std::hash<kestrelle::Uuid>{}(session.nonce);
    }
};
