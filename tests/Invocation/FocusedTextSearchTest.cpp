#include "Invocation/FocusedTextSearch.h"

#include "Support/FakeAccessibility.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::FakeAccessibility;
using test::FakeNode;

FakeNode focusedField(std::string role = "AXTextField") {
    auto field = FakeAccessibility::node(std::move(role));
    field->focused = true;
    return field;
}

FakeNode staticText() {
    return FakeAccessibility::node("AXStaticText");
}

class FocusedTextSearchTest : public ::testing::Test {
protected:
    // Every element the search read was bounded first.
    void TearDown() override { EXPECT_EQ(accessibility.unboundedReads, 0); }

    // Searches an application whose focused element is `focused`.
    std::optional<AccessibilityElement> searchFrom(const FakeNode& focused) {
        auto application = accessibility.addApplication(42, {focused});
        application->focusedElement = focused;
        return search.focusedTextTarget(FakeAccessibility::handle(application));
    }
    bool isFound(const std::optional<AccessibilityElement>& found, const FakeNode& expected) {
        return found && accessibility.isSameElement(*found, FakeAccessibility::handle(expected));
    }

    test::LogCapture logs;
    FakeAccessibility accessibility;
    FocusedTextSearch search{accessibility};
};

TEST_F(FocusedTextSearchTest, SupportsEnabledFocusedTextFieldsAreasAndComboBoxesOnly) {
    const std::string field = "AXTextField";
    const std::vector<std::tuple<AccessibilityValue, AccessibilityValue, AccessibilityValue, bool>>
        cases{{field, true, true, true},
              {std::string("AXTextArea"), true, true, true},
              {std::string("AXComboBox"), true, true, true},
              {field, {}, true, true},
              {field, false, true, false},
              {field, true, false, false},
              {field, true, {}, false},
              {std::string("AXWebArea"), true, true, false},
              {{}, true, true, false},
              // Numbers 0 and 1 count as booleans; any other value is absent.
              {field, 1.0, 1.0, true},
              {field, 0.0, true, false},
              {field, true, 0.0, false},
              {field, 2.0, true, true},
              {field, true, 0.5, false},
              {field, std::string("false"), std::string("true"), false}};
    for (std::size_t index = 0; index < cases.size(); ++index) {
        SCOPED_TRACE(index);
        const auto& [role, enabled, focused, supported] = cases[index];
        auto node = FakeAccessibility::node(std::nullopt);
        node->role = role;
        node->enabled = enabled;
        node->focused = focused;
        EXPECT_EQ(search.isSupportedTextTarget(FakeAccessibility::handle(node)), supported);
        EXPECT_EQ(node->timeout, FocusedTextSearch::elementReadTimeout);
    }
}

TEST_F(FocusedTextSearchTest, FindsTheOneFocusedTextFieldAtAnyDepth) {
    // A focused field is taken without looking at its children.
    const auto child = staticText();
    const auto field = focusedField();
    field->children = {child};
    EXPECT_TRUE(isFound(searchFrom(field), field));
    EXPECT_EQ(child->reads, 0);

    const auto deep = focusedField("AXTextArea");
    EXPECT_TRUE(
        isFound(searchFrom(FakeAccessibility::group(
                    {FakeAccessibility::textField(), staticText(),
                     FakeAccessibility::group({staticText(), FakeAccessibility::group({deep})})})),
                deep));

    // A container's own focused element is followed before its children, unless it names itself.
    const auto chosen = focusedField();
    const auto container = FakeAccessibility::group({focusedField(), chosen});
    container->focusedElement = chosen;
    EXPECT_TRUE(isFound(searchFrom(container), chosen));
    const auto selfFocused = FakeAccessibility::group({staticText(), field});
    selfFocused->focusedElement = selfFocused;
    EXPECT_TRUE(isFound(searchFrom(selfFocused), field));
    EXPECT_TRUE(logs.messages().empty());

    // Without a focused element there is nothing to search, and nothing to log.
    const auto application = accessibility.addApplication(43, {focusedField()});
    EXPECT_FALSE(search.focusedTextTarget(FakeAccessibility::handle(application)));
    EXPECT_TRUE(logs.messages().empty());

    // A second candidate, found last, makes the search ambiguous; the tree is logged.
    EXPECT_FALSE(searchFrom(FakeAccessibility::group(
        {focusedField(), FakeAccessibility::node(std::nullopt, {focusedField("AXComboBox")})})));
    EXPECT_EQ(logs.records().size(), 1U);
}

TEST_F(FocusedTextSearchTest, TruncatedSearchesAndDescriptionsGiveNoGuess) {
    const auto containerWith = [](std::size_t leaves, const FakeNode& last) {
        std::vector<FakeNode> children(leaves);
        std::generate(children.begin(), children.end(), staticText);
        children.push_back(last);
        return FakeAccessibility::group(std::move(children));
    };
    // 255 nodes leave one unit of the budget; with 256 the field is the budget's last node.
    const auto field = focusedField();
    EXPECT_TRUE(isFound(searchFrom(containerWith(253, field)), field));
    EXPECT_FALSE(searchFrom(containerWith(254, focusedField())));

    const auto unreached = focusedField();
    const auto large = containerWith(300, unreached);
    EXPECT_FALSE(searchFrom(large));
    EXPECT_EQ(unreached->reads, 0);
    EXPECT_EQ(std::ranges::count_if(large->children, [](const auto& node) { return node->reads; }),
              255);

    // Describing the tree for the log reads 32 nodes at most: the group and 31 of its fields.
    std::vector<FakeNode> fields(40);
    std::generate(fields.begin(), fields.end(), FakeAccessibility::textField);
    search.targetTreeDescription(FakeAccessibility::handle(FakeAccessibility::group(fields)));
    EXPECT_EQ(std::ranges::count_if(fields, [](const auto& node) { return node->reads; }), 31);
}

} // namespace
} // namespace kestrelle
