#pragma once

#include "Invocation/AccessibilityService.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kestrelle::test {

// One element of a fake application's user interface; a monostate attribute is one the element
// does not report, as after a failed read.
struct FakeAccessibilityNode {
    AccessibilityValue role, enabled, focused;
    AccessibilityValue editable;
    bool namesFocusedElement = true;
    std::vector<std::shared_ptr<FakeAccessibilityNode>> children;
    std::weak_ptr<FakeAccessibilityNode> focusedElement;
    std::optional<std::int32_t> processIdentifier;
    // Reads of any attribute, to tell which parts of a tree a search visited, and the bound set.
    mutable int reads = 0;
    mutable std::optional<std::chrono::milliseconds> timeout;
};

using FakeNode = std::shared_ptr<FakeAccessibilityNode>;

// Element trees of fake applications, their keyboard focus and their focus notifications.
class FakeAccessibility final : public AccessibilityService {
public:
    static FakeNode node(std::optional<std::string> role, std::vector<FakeNode> children = {}) {
        auto made = std::make_shared<FakeAccessibilityNode>();
        made->role = role ? AccessibilityValue(std::move(*role)) : AccessibilityValue();
        made->children = std::move(children);
        return made;
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
    static AccessibilityElement handle(const FakeNode& node) { return AccessibilityElement(node); }

    // Installs an application whose window holds `children`; every element in it reports `pid`.
    FakeNode addApplication(std::int32_t pid, std::vector<FakeNode> children) {
        auto application = node("AXApplication", std::move(children));
        const auto assign = [pid](const FakeNode& root, const auto& self) -> void {
            root->processIdentifier = pid;
            std::ranges::for_each(root->children, [&](const auto& child) { self(child, self); });
        };
        assign(application, assign);
        return applications_[pid] = application;
    }
    // Moves the application's keyboard focus to `element`, without notifying anyone.
    static void focus(const FakeNode& application, const FakeNode& element) {
        if (const auto previous = application->focusedElement.lock()) {
            previous->focused = false;
        }
        application->focusedElement = element;
        element->focused = true;
    }
    // The application posts a focus change to the observers registered for it.
    void postFocusChanged(std::int32_t pid) {
        for (const auto* observer : std::vector(observers_)) {
            if (observer->delivering && observer->pid == pid &&
                std::ranges::count(observer->watched, applications_[pid].get()) > 0) {
                observer->onNotification();
            }
        }
    }
    std::size_t observerCount() const { return observers_.size(); }

    bool trusted = true;
    // Reads of an element that no timeout bounds.
    int unboundedReads = 0;

    bool isProcessTrusted() override { return trusted; }
    AccessibilityElement applicationElement(std::int32_t pid) override {
        return handle(applications_.try_emplace(pid, node(std::nullopt)).first->second);
    }
    void setMessagingTimeout(const AccessibilityElement& element,
                             std::chrono::milliseconds timeout) override {
        nodeOf(element)->timeout = timeout;
    }
    AccessibilityValue attribute(const AccessibilityElement& element,
                                 std::string_view attribute) override {
        const auto* node = read(element);
        return attribute == accessibilityName::role       ? node->role
               : attribute == accessibilityName::enabled  ? node->enabled
               : attribute == accessibilityName::focused  ? node->focused
               : attribute == accessibilityName::editable ? node->editable
                                                          : AccessibilityValue{};
    }
    std::optional<AccessibilityElement> copyElement(const AccessibilityElement& element,
                                                    std::string_view attribute) override {
        const auto focused = read(element)->focusedElement.lock();
        return focused && attribute == accessibilityName::focusedElement
                   ? std::optional(handle(focused))
                   : std::nullopt;
    }
    std::vector<AccessibilityElement> copyElements(const AccessibilityElement& element,
                                                   std::string_view attribute) override {
        const auto& children = read(element)->children;
        return attribute == accessibilityName::children
                   ? std::vector<AccessibilityElement>(children.begin(), children.end())
                   : std::vector<AccessibilityElement>{};
    }
    bool namesFocusedElement(const AccessibilityElement& application) override {
        return read(application)->namesFocusedElement;
    }
    bool isSameElement(const AccessibilityElement& a, const AccessibilityElement& b) override {
        return a.object() == b.object();
    }
    std::optional<std::int32_t> processIdentifier(const AccessibilityElement& element) override {
        return nodeOf(element)->processIdentifier;
    }
    ObserverCreation createObserver(std::int32_t pid,
                                    std::function<void()> onNotification) override {
        return {0, std::make_unique<Observer>(*this, pid, std::move(onNotification))};
    }

private:
    struct Observer final : AccessibilityObserver {
        Observer(FakeAccessibility& owner, std::int32_t pid, std::function<void()> onNotification)
            : owner(owner), pid(pid), onNotification(std::move(onNotification)) {
            owner.observers_.push_back(this);
        }
        ~Observer() override { std::erase(owner.observers_, this); }
        AccessibilityStatus addNotification(const AccessibilityElement& element,
                                            std::string_view notification) override {
            if (notification == accessibilityName::focusedElementChanged) {
                watched.push_back(element.object());
            }
            return 0;
        }
        void startDelivery() override { delivering = true; }

        FakeAccessibility& owner;
        std::int32_t pid;
        std::function<void()> onNotification;
        std::vector<const void*> watched;
        bool delivering = false;
    };

    static const FakeAccessibilityNode* nodeOf(const AccessibilityElement& element) {
        return static_cast<const FakeAccessibilityNode*>(element.object());
    }
    const FakeAccessibilityNode* read(const AccessibilityElement& element) {
        const auto* node = nodeOf(element);
        ++node->reads;
        unboundedReads += node->timeout ? 0 : 1;
        return node;
    }

    std::map<std::int32_t, FakeNode> applications_;
    std::vector<Observer*> observers_;
};

} // namespace kestrelle::test
