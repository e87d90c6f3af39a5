#pragma once

#include "Invocation/AccessibilityElement.h"

#include <cstdint>
#include <string_view>

namespace kestrelle {

// The accessibility service's status of a call; 0 is success.
using AccessibilityStatus = std::int32_t;

// Watches one application's elements for the notifications it was registered for. Destroying it
// stops delivery. Implemented over AXObserver on macOS; faked inside test::FakeAccessibility.
class AccessibilityObserver {
public:
    virtual ~AccessibilityObserver() = default;

    virtual AccessibilityStatus addNotification(const AccessibilityElement& element,
                                                std::string_view notification) = 0;
    // From now on notifications arrive on the main thread.
    virtual void startDelivery() = 0;
};

} // namespace kestrelle
