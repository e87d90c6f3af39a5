#pragma once

#include "Invocation/AccessibilityService.h"
#include "Runtime/Executor.h"

#include <memory>

namespace kestrelle {

class AccessibilityBusSwitch;
struct StateSnapshot;

// The accessibility service over AT-SPI (libatspi), on the session's accessibility bus. An element
// is an AtspiAccessible, identified by its application's bus name and its object path. The
// core's names read:
// - role: the role's name as AT-SPI spells it ("text", "password text", …);
// - enabled, focused, editable: the states ENABLED, FOCUSED and EDITABLE, as booleans;
// - focusedElement: the first element in state FOCUSED that the element's Collection interface
//   finds below it; none where the toolkit has no Collection (Qt), which namesFocusedElement
//   reports;
// - children: the element's children.
// The messaging timeout is libatspi's one method-call timeout: it bounds every later call to any
// application, including the first calls to an application that just started (which libatspi
// would otherwise wait on for up to 15 s). It does not bound the process-identifier question,
// which goes to the accessibility bus's daemon.
// A validation reads an element's states several times in a row, each read a round trip to its
// application, so the states read last are kept until the main queue's next task.
// focusedElementChanged is the application's "object:state-changed:focused" event for an element
// that gained the focus. libatspi hands events out inside any of its calls, so each one is posted
// to `mainQueue` and never runs inside a read.
class AtspiAccessibilityService final : public AccessibilityService {
public:
    // Connects to the accessibility bus; without it every read finds nothing.
    explicit AtspiAccessibilityService(Executor& mainQueue);
    ~AtspiAccessibilityService() override;
    AtspiAccessibilityService(const AtspiAccessibilityService&) = delete;
    AtspiAccessibilityService& operator=(const AtspiAccessibilityService&) = delete;

    // Whether the session's accessibility bus is on (org.a11y.Status IsEnabled): the trust probe.
    static bool isAccessibilityBusEnabled();
    // Switches it on: the trust prompt. Qt applications read the switch when they start, so those
    // that started while it was off keep their widgets hidden until restarted; GTK 3 applications
    // expose theirs either way.
    static void enableAccessibilityBus();

    // Asked before every key typed, so the switch is followed by its change signal rather than
    // asked each time (a round trip of about a millisecond); while off, it is asked again.
    bool isProcessTrusted() override;
    // An element that reads as nothing when no application on the bus has that process.
    AccessibilityElement applicationElement(std::int32_t processIdentifier) override;
    void setMessagingTimeout(const AccessibilityElement& element,
                             std::chrono::milliseconds timeout) override;
    AccessibilityValue attribute(const AccessibilityElement& element,
                                 std::string_view attribute) override;
    std::optional<AccessibilityElement> copyElement(const AccessibilityElement& element,
                                                    std::string_view attribute) override;
    std::vector<AccessibilityElement> copyElements(const AccessibilityElement& element,
                                                   std::string_view attribute) override;
    bool namesFocusedElement(const AccessibilityElement& application) override;
    bool isSameElement(const AccessibilityElement& a, const AccessibilityElement& b) override;
    std::optional<std::int32_t> processIdentifier(const AccessibilityElement& element) override;
    ObserverCreation createObserver(std::int32_t processIdentifier,
                                    std::function<void()> onNotification) override;

private:
    Executor& mainQueue_;
    const std::unique_ptr<AccessibilityBusSwitch> busSwitch_;
    const std::shared_ptr<StateSnapshot> snapshot_;
    // libatspi stops the process on any call once its connection has failed.
    const bool connected_;
};

} // namespace kestrelle
