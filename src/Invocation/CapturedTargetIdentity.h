#pragma once

#include <cstdint>

namespace kestrelle {

// Which process a captured target belongs to.
class CapturedTargetIdentity {
public:
    virtual ~CapturedTargetIdentity() = default;

    virtual std::int32_t processIdentifier() const = 0;
};

} // namespace kestrelle
