#include "Invocation/AccessibilityService_mac.h"

#include <ApplicationServices/ApplicationServices.h>
#import <Foundation/Foundation.h>

namespace kestrelle {

namespace {

// Takes over a reference the caller owns (the Create and Copy rules).
AccessibilityElement elementOwning(AXUIElementRef element) {
    return AccessibilityElement(std::shared_ptr<const void>(element, [](const void *held) {
        if (held != nullptr) {
            CFRelease(held);
        }
    }));
}

AXUIElementRef elementOf(const AccessibilityElement &element) {
    return static_cast<AXUIElementRef>(const_cast<void *>(element.object()));
}

NSString *stringOf(std::string_view text) {
    return [[NSString alloc] initWithBytes:text.data()
                                    length:text.size()
                                  encoding:NSUTF8StringEncoding];
}

bool isElement(id value) {
    return value != nil && CFGetTypeID((__bridge CFTypeRef)value) == AXUIElementGetTypeID();
}

// A new reference to an element some copied collection holds.
AccessibilityElement elementRetaining(id value) {
    return elementOwning(static_cast<AXUIElementRef>(
        const_cast<void *>(static_cast<const void *>((__bridge_retained CFTypeRef)value))));
}

// The value the read copied, owned by ARC from here on; nil when the read failed.
id copyAttribute(const AccessibilityElement &element, std::string_view attribute) {
    AXUIElementRef object = elementOf(element);
    NSString *name = stringOf(attribute);
    if (object == nullptr || name == nil) {
        return nil;
    }
    CFTypeRef value = nullptr;
    if (AXUIElementCopyAttributeValue(object, (__bridge CFStringRef)name, &value) !=
        kAXErrorSuccess) {
        return nil;
    }
    return CFBridgingRelease(value);
}

// Delivers one application's notifications on the main run loop; destroying it stops them.
class AxObserver final : public AccessibilityObserver {
  public:
    AxObserver(AXObserverRef observer, std::function<void()> onNotification)
        : observer_(observer), onNotification_(std::move(onNotification)) {}
    AxObserver(const AxObserver &) = delete;
    AxObserver &operator=(const AxObserver &) = delete;
    ~AxObserver() override {
        if (delivering_) {
            CFRunLoopRemoveSource(CFRunLoopGetMain(), AXObserverGetRunLoopSource(observer_),
                                  kCFRunLoopCommonModes);
        }
        CFRelease(observer_);
    }

    AccessibilityStatus addNotification(const AccessibilityElement &element,
                                        std::string_view notification) override {
        return AXObserverAddNotification(observer_, elementOf(element),
                                         (__bridge CFStringRef)stringOf(notification), this);
    }

    void startDelivery() override {
        CFRunLoopAddSource(CFRunLoopGetMain(), AXObserverGetRunLoopSource(observer_),
                           kCFRunLoopCommonModes);
        delivering_ = true;
    }

    static void receive(AXObserverRef, AXUIElementRef, CFStringRef, void *observer) {
        static_cast<AxObserver *>(observer)->onNotification_();
    }

  private:
    const AXObserverRef observer_;
    const std::function<void()> onNotification_;
    bool delivering_ = false;
};

class AxAccessibilityService final : public AccessibilityService {
  public:
    bool isProcessTrusted() override { return isAccessibilityTrusted(); }

    AccessibilityElement applicationElement(std::int32_t processIdentifier) override {
        return elementOwning(AXUIElementCreateApplication(processIdentifier));
    }

    void setMessagingTimeout(const AccessibilityElement &element,
                             std::chrono::milliseconds timeout) override {
        if (elementOf(element) != nullptr) {
            AXUIElementSetMessagingTimeout(elementOf(element),
                                           std::chrono::duration<float>(timeout).count());
        }
    }

    AccessibilityValue attribute(const AccessibilityElement &element,
                                 std::string_view attribute) override {
        id value = copyAttribute(element, attribute);
        // CFBoolean is bridged to NSNumber too: its own type tells the two apart.
        if (value != nil && CFGetTypeID((__bridge CFTypeRef)value) == CFBooleanGetTypeID()) {
            return static_cast<bool>([static_cast<NSNumber *>(value) boolValue]);
        }
        if ([value isKindOfClass:[NSNumber class]]) {
            return [static_cast<NSNumber *>(value) doubleValue];
        }
        if ([value isKindOfClass:[NSString class]]) {
            const char *text = [static_cast<NSString *>(value) UTF8String];
            return text != nullptr ? AccessibilityValue(std::string(text)) : AccessibilityValue();
        }
        return {};
    }

    std::optional<AccessibilityElement> copyElement(const AccessibilityElement &element,
                                                    std::string_view attribute) override {
        id value = copyAttribute(element, attribute);
        if (!isElement(value)) {
            return std::nullopt;
        }
        return elementRetaining(value);
    }

    std::vector<AccessibilityElement> copyElements(const AccessibilityElement &element,
                                                   std::string_view attribute) override {
        id value = copyAttribute(element, attribute);
        if (![value isKindOfClass:[NSArray class]]) {
            return {};
        }
        std::vector<AccessibilityElement> elements;
        for (id member in static_cast<NSArray *>(value)) {
            if (isElement(member)) {
                elements.push_back(elementRetaining(member));
            }
        }
        return elements;
    }

    bool namesFocusedElement(const AccessibilityElement &) override { return true; }

    bool isSameElement(const AccessibilityElement &a, const AccessibilityElement &b) override {
        return elementOf(a) != nullptr && elementOf(b) != nullptr &&
               CFEqual(elementOf(a), elementOf(b));
    }

    std::optional<std::int32_t> processIdentifier(const AccessibilityElement &element) override {
        pid_t processIdentifier = 0;
        if (elementOf(element) == nullptr ||
            AXUIElementGetPid(elementOf(element), &processIdentifier) != kAXErrorSuccess) {
            return std::nullopt;
        }
        return processIdentifier;
    }

    ObserverCreation createObserver(std::int32_t processIdentifier,
                                    std::function<void()> onNotification) override {
        AXObserverRef observer = nullptr;
        const AXError status = AXObserverCreate(processIdentifier, &AxObserver::receive, &observer);
        if (status != kAXErrorSuccess || observer == nullptr) {
            return {.status = status, .observer = nullptr};
        }
        return {.status = status,
                .observer = std::make_unique<AxObserver>(observer, std::move(onNotification))};
    }
};

} // namespace

std::unique_ptr<AccessibilityService> makeAxAccessibilityService() {
    return std::make_unique<AxAccessibilityService>();
}

bool isAccessibilityTrusted() { return AXIsProcessTrusted(); }

void promptForAccessibilityTrust() {
    NSDictionary *options = @{(__bridge NSString *)kAXTrustedCheckOptionPrompt : @YES};
    AXIsProcessTrustedWithOptions((__bridge CFDictionaryRef)options);
}

} // namespace kestrelle
