#pragma once

#include "Invocation/AccessibilityService.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kestrelle::test {

// One element of a fake application's user interface. An absent attribute is one the element
// does not report; a name in `failingAttributes` makes every read of that attribute fail.
struct FakeAccessibilityNode {
    std::optional<std::string> role;
    std::optional<bool> enabled;
    std::optional<bool> focused;
    std::vector<std::shared_ptr<FakeAccessibilityNode>> children;
    std::weak_ptr<FakeAccessibilityNode> focusedElement;
    std::optional<std::int32_t> processIdentifier;
    std::vector<std::string> failingAttributes;
    // Reads of any attribute, to tell which parts of a tree a search visited.
    mutable int reads = 0;
};

using FakeNode = std::shared_ptr<FakeAccessibilityNode>;

// Element trees of fake applications, their keyboard focus and their focus notifications.
class FakeAccessibility final : public AccessibilityService {
public:
    // Tree building.
    static FakeNode node(std::optional<std::string> role, std::vector<FakeNode> children = {}) {
        auto node = std::make_shared<FakeAccessibilityNode>();
        node->role = std::move(role);
        node->children = std::move(children);
        return node;
    }
    static FakeNode textField() {
        auto field = node("AXTextField");
        field->enabled = true;
        field->focused = false;
        return field;
    }
    static FakeNode group(std::vector<FakeNode> children) {
        return node("AXGroup", std::move(children));
    }

    // Installs an application whose window holds `children`; every element in it reports `pid`.
    FakeNode addApplication(std::int32_t pid, std::vector<FakeNode> children) {
        auto application = node("AXApplication", std::move(children));
        assignProcess(*application, pid);
        applications_[pid] = application;
        return application;
    }

    // Moves the application's keyboard focus to `element`, without notifying anyone.
    static void focus(const FakeNode& application, const FakeNode& element) {
        if (const auto previous = application->focusedElement.lock()) {
            previous->focused = false;
        }
        application->focusedElement = element;
        element->focused = true;
    }
    // The application posts a focus change to the observers that receive its notifications.
    void postFocusChanged(std::int32_t pid) {
        const auto observers = observers_;
        for (const auto* observer : observers) {
            if (observer->delivers(pid, applications_[pid].get())) {
                observer->onNotification();
            }
        }
    }

    // Behaviour.
    bool trusted = true;
    AccessibilityStatus observerCreationStatus = 0;
    bool observerCreationGivesNothing = false;
    AccessibilityStatus addNotificationStatus = 0;

    std::size_t observerCount() const { return observers_.size(); }
    std::size_t deliveringObserverCount() const {
        return std::count_if(observers_.begin(), observers_.end(),
                             [](const auto* observer) { return observer->delivering; });
    }

    static AccessibilityElement handle(const FakeNode& node) { return AccessibilityElement(node); }

    // AccessibilityService
    bool isProcessTrusted() override { return trusted; }
    AccessibilityElement applicationElement(std::int32_t pid) override {
        auto& application = applications_[pid];
        if (!application) {
            application = std::make_shared<FakeAccessibilityNode>();
        }
        return AccessibilityElement(application);
    }
    std::optional<bool> boolAttribute(const AccessibilityElement& element,
                                      std::string_view attribute) override {
        const auto* node = readable(element, attribute);
        if (!node) {
            return std::nullopt;
        }
        if (attribute == accessibilityName::enabled) {
            return node->enabled;
        }
        if (attribute == accessibilityName::focused) {
            return node->focused;
        }
        return std::nullopt;
    }
    std::optional<std::string> stringAttribute(const AccessibilityElement& element,
                                               std::string_view attribute) override {
        const auto* node = readable(element, attribute);
        if (node && attribute == accessibilityName::role) {
            return node->role;
        }
        return std::nullopt;
    }
    std::optional<AccessibilityElement> copyElement(const AccessibilityElement& element,
                                                    std::string_view attribute) override {
        const auto* node = readable(element, attribute);
        if (node && attribute == accessibilityName::focusedElement) {
            if (auto focused = node->focusedElement.lock()) {
                return AccessibilityElement(std::move(focused));
            }
        }
        return std::nullopt;
    }
    std::vector<AccessibilityElement> copyElements(const AccessibilityElement& element,
                                                   std::string_view attribute) override {
        const auto* node = readable(element, attribute);
        if (!node || attribute != accessibilityName::children) {
            return {};
        }
        return std::vector<AccessibilityElement>(node->children.begin(), node->children.end());
    }
    bool isSameElement(const AccessibilityElement& a, const AccessibilityElement& b) override {
        return a.object() == b.object();
    }
    std::optional<std::int32_t> processIdentifier(const AccessibilityElement& element) override {
        return nodeOf(element)->processIdentifier;
    }
    ObserverCreation createObserver(std::int32_t pid,
                                    std::function<void()> onNotification) override {
        if (observerCreationStatus != 0 || observerCreationGivesNothing) {
            return {observerCreationStatus, nullptr};
        }
        return {0, std::make_unique<Observer>(*this, pid, std::move(onNotification))};
    }

private:
    class Observer final : public AccessibilityObserver {
    public:
        Observer(FakeAccessibility& owner, std::int32_t pid, std::function<void()> onNotification)
            : onNotification(std::move(onNotification)), owner_(owner), pid_(pid) {
            owner_.observers_.push_back(this);
        }
        ~Observer() override { std::erase(owner_.observers_, this); }

        AccessibilityStatus addNotification(const AccessibilityElement& element,
                                            std::string_view notification) override {
            if (owner_.addNotificationStatus != 0) {
                return owner_.addNotificationStatus;
            }
            if (notification == accessibilityName::focusedElementChanged) {
                watched_.push_back(element.object());
            }
            return 0;
        }
        void startDelivery() override { delivering = true; }

        bool delivers(std::int32_t pid, const void* application) const {
            return delivering && pid == pid_ &&
                   std::find(watched_.begin(), watched_.end(), application) != watched_.end();
        }

        std::function<void()> onNotification;
        bool delivering = false;

    private:
        FakeAccessibility& owner_;
        std::int32_t pid_;
        std::vector<const void*> watched_;
    };

    static const FakeAccessibilityNode* nodeOf(const AccessibilityElement& element) {
        return static_cast<const FakeAccessibilityNode*>(element.object());
    }
    static const FakeAccessibilityNode* readable(const AccessibilityElement& element,
                                                 std::string_view attribute) {
        auto* node = nodeOf(element);
        ++node->reads;
        const auto& failing = node->failingAttributes;
        if (!failing.empty() &&
            std::find(failing.begin(), failing.end(), attribute) != failing.end()) {
            return nullptr;
        }
        return node;
    }
    static void assignProcess(FakeAccessibilityNode& node, std::int32_t pid) {
        node.processIdentifier = pid;
        for (const auto& child : node.children) {
            assignProcess(*child, pid);
        }
    }

    std::map<std::int32_t, FakeNode> applications_;
    std::vector<Observer*> observers_;
};

} // namespace kestrelle::test
