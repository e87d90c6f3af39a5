#pragma once

#include <cstdint>
#include <optional>

namespace kestrelle {

// Takes the workspace's reports of application switches during an invocation.
class TargetChangeRecording {
public:
    virtual ~TargetChangeRecording() = default;

    // `processIdentifier` is the activated application's, or none when unknown.
    virtual void recordApplicationActivation(std::optional<std::int32_t> processIdentifier) = 0;
};

} // namespace kestrelle
