#pragma once

#include "Invocation/AccessibilityElement.h"
#include "Invocation/AccessibilityObserver.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrelle {

// Names as the accessibility service spells them.
namespace accessibilityName {
inline constexpr std::string_view enabled = "AXEnabled";
inline constexpr std::string_view focused = "AXFocused";
// No macOS attribute: AT-SPI's EDITABLE state, read only for AT-SPI's roles.
inline constexpr std::string_view editable = "editable";
inline constexpr std::string_view role = "AXRole";
inline constexpr std::string_view focusedElement = "AXFocusedUIElement";
inline constexpr std::string_view children = "AXChildren";
inline constexpr std::string_view focusedElementChanged = "AXFocusedUIElementChanged";
} // namespace accessibilityName

// An attribute's value of the kind the platform reported, unconverted: which values count as a
// boolean is the core's decision (FocusedTextSearch::booleanOf). A number is reported as the
// double it holds. Monostate: no value, because the element does not report the attribute, the
// read failed or timed out, or the value is of another kind.
using AccessibilityValue = std::variant<std::monostate, bool, double, std::string>;

// The platform's accessibility service: reads other applications' user interfaces and reports
// their focus changes. Every read is a blocking message to the element's application, sent from
// the main thread. Implemented over AXUIElement on macOS and over AT-SPI on Linux
// (AtspiAccessibilityService); faked by test::FakeAccessibility.
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

    // Bounds every later read of this element: a read without an answer within `timeout` gives
    // up and finds nothing (macOS: AXUIElementSetMessagingTimeout). The core sets it on each
    // element before reading it. AT-SPI has one timeout for the whole process: there the bound
    // holds for every later read of any element.
    virtual void setMessagingTimeout(const AccessibilityElement& element,
                                     std::chrono::milliseconds timeout) = 0;

    virtual AccessibilityValue attribute(const AccessibilityElement& element,
                                         std::string_view attribute) = 0;
    // An element-valued attribute; none when the read fails or finds another kind.
    virtual std::optional<AccessibilityElement> copyElement(const AccessibilityElement& element,
                                                            std::string_view attribute) = 0;
    // The members that are elements, in order; empty when the read fails.
    virtual std::vector<AccessibilityElement> copyElements(const AccessibilityElement& element,
                                                           std::string_view attribute) = 0;
    // Whether the application can name its focused element at all, a read like the others.
    // Where it cannot (AT-SPI toolkits without the Collection interface, such as Qt), no
    // focused element means an unknown one rather than none. Every macOS application can.
    virtual bool namesFocusedElement(const AccessibilityElement& application) = 0;

    // Neither sends a message to the element's application (AT-SPI asks its bus daemon for the
    // process; macOS answers both locally).
    virtual bool isSameElement(const AccessibilityElement& a, const AccessibilityElement& b) = 0;
    // The process owning the element; none when the service cannot tell.
    virtual std::optional<std::int32_t> processIdentifier(const AccessibilityElement& element) = 0;

    // An observer of the process's elements; it calls `onNotification` once delivery started.
    virtual ObserverCreation createObserver(std::int32_t processIdentifier,
                                            std::function<void()> onNotification) = 0;
};

} // namespace kestrelle
