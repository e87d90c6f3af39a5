#pragma once

#include "Invocation/AccessibilityElement.h"
#include "Invocation/AccessibilityObserver.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelle {

// Names as the accessibility service spells them.
namespace accessibilityName {
inline constexpr std::string_view enabled = "AXEnabled";
inline constexpr std::string_view focused = "AXFocused";
inline constexpr std::string_view role = "AXRole";
inline constexpr std::string_view focusedElement = "AXFocusedUIElement";
inline constexpr std::string_view children = "AXChildren";
inline constexpr std::string_view focusedElementChanged = "AXFocusedUIElementChanged";
} // namespace accessibilityName

// The platform's accessibility service: reads other applications' user interfaces and reports
// their focus changes. A read that fails, or finds a value of another kind, gives none.
class AccessibilityService {
public:
    struct ObserverCreation {
        AccessibilityStatus status = 0;
        std::unique_ptr<AccessibilityObserver> observer;
    };

    virtual ~AccessibilityService() = default;

    // Whether the user allowed this process to use the service.
    virtual bool isProcessTrusted() = 0;
    virtual AccessibilityElement applicationElement(std::int32_t processIdentifier) = 0;

    virtual std::optional<bool> boolAttribute(const AccessibilityElement& element,
                                              std::string_view attribute) = 0;
    virtual std::optional<std::string> stringAttribute(const AccessibilityElement& element,
                                                       std::string_view attribute) = 0;
    virtual std::optional<AccessibilityElement> copyElement(const AccessibilityElement& element,
                                                            std::string_view attribute) = 0;
    // The members that are elements, in order; empty when the read fails.
    virtual std::vector<AccessibilityElement> copyElements(const AccessibilityElement& element,
                                                           std::string_view attribute) = 0;

    virtual bool isSameElement(const AccessibilityElement& a, const AccessibilityElement& b) = 0;
    // The process owning the element; none when the service cannot tell.
    virtual std::optional<std::int32_t> processIdentifier(const AccessibilityElement& element) = 0;

    // An observer of the process's elements; it calls `onNotification` once delivery started.
    virtual ObserverCreation createObserver(std::int32_t processIdentifier,
                                            std::function<void()> onNotification) = 0;
};

} // namespace kestrelle
