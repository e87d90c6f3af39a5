#pragma once

#include "Invocation/AccessibilityService.h"

#include <optional>
#include <string>

namespace kestrelle {

// Finds the text field that has the keyboard focus in another application's element tree.
// Searches are bounded, so that a huge web view cannot stall the main thread, and they refuse
// to guess: a truncated or ambiguous search finds nothing.
class FocusedTextSearch {
public:
    static constexpr int searchBudget = 256;
    static constexpr int descriptionBudget = 32;

    explicit FocusedTextSearch(AccessibilityService& accessibility)
        : accessibility_(accessibility) {}

    // Enabled (or silent about it), focused, and a text field, text area or combo box. Secure
    // text fields share the text field role, so password fields qualify.
    bool isSupportedTextTarget(const AccessibilityElement& element);

    // Searches from the application's focused element; logs the tree when nothing is found.
    std::optional<AccessibilityElement> focusedTextTarget(const AccessibilityElement& application);

    // The roles and focus states under `element`, for the log.
    std::string targetTreeDescription(const AccessibilityElement& element);

private:
    std::optional<AccessibilityElement> search(const AccessibilityElement& node,
                                               int& remainingNodes);
    void describe(const AccessibilityElement& node, int& remainingNodes, std::string& out);

    AccessibilityService& accessibility_;
};

} // namespace kestrelle
