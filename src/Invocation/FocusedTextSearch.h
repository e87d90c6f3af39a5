#pragma once

#include "Invocation/AccessibilityService.h"

#include <chrono>
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
    // Every element is bounded by this before it is read. A hung application then costs about
    // this much per capture or validation, since its first read already fails and a failed read
    // finds nothing; a slow one at most this much per read.
    static constexpr std::chrono::milliseconds elementReadTimeout{250};

    // A boolean attribute as the core reads it: a boolean, or the number 0 or 1 that some
    // applications report instead; any other value is absent.
    static std::optional<bool> booleanOf(const AccessibilityValue& value);

    explicit FocusedTextSearch(AccessibilityService& accessibility)
        : accessibility_(accessibility) {}

    // Enabled (or silent about it), focused, and a text field, text area or combo box. Secure
    // text fields share the text field role, so password fields qualify. AT-SPI spells the
    // roles "text", "entry", "password text" and "combo box", and such an element must also be
    // editable.
    bool isSupportedTextTarget(const AccessibilityElement& element);

    // Searches from the application's focused element; logs the tree when nothing is found.
    // An application that cannot name its focused element has its whole tree searched, within
    // the same budget.
    std::optional<AccessibilityElement> focusedTextTarget(const AccessibilityElement& application);

    // The roles and focus states under `element`, for the log.
    std::string targetTreeDescription(const AccessibilityElement& element);

private:
    // Sets the read timeout on `element` first.
    const AccessibilityElement& bounded(const AccessibilityElement& element);
    std::optional<bool> boolean(const AccessibilityElement& element, std::string_view attribute);
    bool isSupported(const AccessibilityElement& element);
    std::optional<AccessibilityElement> search(const AccessibilityElement& node,
                                               int& remainingNodes);
    // The one result among the children's searches.
    std::optional<AccessibilityElement> searchChildren(const AccessibilityElement& node,
                                                       int& remainingNodes);
    void describe(const AccessibilityElement& node, int& remainingNodes, std::string& out);

    AccessibilityService& accessibility_;
};

} // namespace kestrelle
