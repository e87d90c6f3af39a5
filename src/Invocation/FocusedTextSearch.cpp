#include "Invocation/FocusedTextSearch.h"

#include "Runtime/Logger.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kestrelle {

namespace {

const Logger logger{"AccessibilityTarget"};

constexpr std::array<std::string_view, 3> macRoles{"AXTextField", "AXTextArea", "AXComboBox"};
// AT-SPI gives these roles to read-only fields and drop-down lists too: only its EDITABLE state
// tells them apart.
constexpr std::array<std::string_view, 4> atspiRoles{"text", "entry", "password text", "combo box"};

bool contains(const auto& roles, std::string_view role) {
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

} // namespace

std::optional<bool> FocusedTextSearch::booleanOf(const AccessibilityValue& value) {
    if (const auto* flag = std::get_if<bool>(&value)) {
        return *flag;
    }
    if (const auto* number = std::get_if<double>(&value);
        number && (*number == 0 || *number == 1)) {
        return *number == 1;
    }
    return std::nullopt;
}

const AccessibilityElement& FocusedTextSearch::bounded(const AccessibilityElement& element) {
    accessibility_.setMessagingTimeout(element, elementReadTimeout);
    return element;
}

std::optional<bool> FocusedTextSearch::boolean(const AccessibilityElement& element,
                                               std::string_view attribute) {
    return booleanOf(accessibility_.attribute(element, attribute));
}

bool FocusedTextSearch::isSupportedTextTarget(const AccessibilityElement& element) {
    return isSupported(bounded(element));
}

bool FocusedTextSearch::isSupported(const AccessibilityElement& element) {
    if (!boolean(element, accessibilityName::enabled).value_or(true)) {
        return false;
    }
    if (!boolean(element, accessibilityName::focused).value_or(false)) {
        return false;
    }
    const auto role = accessibility_.attribute(element, accessibilityName::role);
    const auto* text = std::get_if<std::string>(&role);
    if (!text) {
        return false;
    }
    return contains(macRoles, *text) ||
           (contains(atspiRoles, *text) &&
            boolean(element, accessibilityName::editable).value_or(false));
}

std::optional<AccessibilityElement>
FocusedTextSearch::focusedTextTarget(const AccessibilityElement& application) {
    int remainingNodes = searchBudget;
    const auto focused =
        accessibility_.copyElement(bounded(application), accessibilityName::focusedElement);
    if (!focused) {
        // An application that cannot name its focused element may still have one somewhere.
        if (accessibility_.namesFocusedElement(application)) {
            return std::nullopt;
        }
        return searchChildren(application, remainingNodes);
    }
    auto found = search(*focused, remainingNodes);
    if (!found) {
        logger.info("Unsupported focused target tree: {}",
                    PublicText(targetTreeDescription(*focused)));
    }
    return found;
}

std::optional<AccessibilityElement> FocusedTextSearch::search(const AccessibilityElement& node,
                                                              int& remainingNodes) {
    if (remainingNodes < 1) {
        return std::nullopt;
    }
    --remainingNodes;
    if (isSupported(bounded(node))) {
        return node;
    }
    // A container that names its own focused element is followed there first.
    if (const auto focused = accessibility_.copyElement(node, accessibilityName::focusedElement);
        focused && !accessibility_.isSameElement(*focused, node)) {
        if (auto found = search(*focused, remainingNodes)) {
            return found;
        }
    }
    return searchChildren(node, remainingNodes);
}

std::optional<AccessibilityElement>
FocusedTextSearch::searchChildren(const AccessibilityElement& node, int& remainingNodes) {
    // Every child is searched, so that a second candidate makes the result ambiguous.
    std::optional<AccessibilityElement> found;
    int results = 0;
    for (const auto& child : accessibility_.copyElements(node, accessibilityName::children)) {
        if (auto result = search(child, remainingNodes)) {
            if (++results == 1) {
                found = std::move(result);
            }
        }
    }
    if (remainingNodes < 1 || results != 1) {
        return std::nullopt;
    }
    return found;
}

std::string FocusedTextSearch::targetTreeDescription(const AccessibilityElement& element) {
    std::string description;
    int remainingNodes = descriptionBudget;
    describe(element, remainingNodes, description);
    return description;
}

void FocusedTextSearch::describe(const AccessibilityElement& node, int& remainingNodes,
                                 std::string& out) {
    if (remainingNodes < 1) {
        out += "…";
        return;
    }
    --remainingNodes;
    const auto role = accessibility_.attribute(bounded(node), accessibilityName::role);
    const auto* text = std::get_if<std::string>(&role);
    out += text ? *text : "unknown";
    // The focus state is written as the optional it is, so an absent one reads "nil".
    out += "[focused=";
    const auto focused = boolean(node, accessibilityName::focused);
    out += focused ? (*focused ? "Optional(true)" : "Optional(false)") : "nil";
    const auto children = accessibility_.copyElements(node, accessibilityName::children);
    if (children.empty()) {
        out += "]";
        return;
    }
    out += "]{";
    for (std::size_t index = 0; index < children.size(); ++index) {
        if (index > 0) {
            out += ",";
        }
        describe(children[index], remainingNodes, out);
    }
    out += "}";
}

} // namespace kestrelle
