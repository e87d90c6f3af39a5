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
    struct Case {
        std::optional<std::string> role;
        std::optional<bool> enabled;
        std::optional<bool> focused;
        bool supported;
    };
    const std::vector<Case> cases{
        {"AXTextField", true, true, true},          {"AXTextArea", true, true, true},
        {"AXComboBox", true, true, true},           {"AXTextField", std::nullopt, true, true},
        {"AXTextField", false, true, false},        {"AXTextField", true, false, false},
        {"AXTextField", true, std::nullopt, false}, {"AXWebArea", true, true, false},
        {"AXStaticText", true, true, false},        {"axtextfield", true, true, false},
        {std::nullopt, true, true, false}};
    for (const auto& [role, enabled, focused, supported] : cases) {
        auto node = FakeAccessibility::node(role);
        node->enabled = enabled;
        node->focused = focused;
        EXPECT_EQ(search.isSupportedTextTarget(FakeAccessibility::handle(node)), supported)
            << role.value_or("no role") << " enabled " << enabled.value_or(-1) << " focused "
            << focused.value_or(-1);
    }

    // A failed read counts as an absent attribute.
    auto field = focusedField();
    field->failingAttributes = {"AXEnabled"};
    EXPECT_TRUE(search.isSupportedTextTarget(FakeAccessibility::handle(field)));
    field->failingAttributes = {"AXFocused"};
    EXPECT_FALSE(search.isSupportedTextTarget(FakeAccessibility::handle(field)));
}

TEST_F(FocusedTextSearchTest, AFocusedTextFieldIsFoundWithoutVisitingItsChildren) {
    const auto child = staticText();
    const auto field = focusedField();
    field->children = {child};

    EXPECT_TRUE(isFound(searchFrom(field), field));
    EXPECT_EQ(child->reads, 0);
}

TEST_F(FocusedTextSearchTest, AContainerYieldsItsOnlyFocusedTextFieldAtAnyDepth) {
    const auto field = focusedField("AXTextArea");
    const auto container = FakeAccessibility::group(
        {FakeAccessibility::textField(), staticText(),
         FakeAccessibility::group({staticText(), FakeAccessibility::group({field})})});

    EXPECT_TRUE(isFound(searchFrom(container), field));
    EXPECT_TRUE(logs.messages().empty());
}

TEST_F(FocusedTextSearchTest, TwoCandidatesFindNothingAndTheTreeIsLogged) {
    // The second candidate comes last, so a search that stopped at the first would find it.
    const auto container = FakeAccessibility::group(
        {focusedField(), FakeAccessibility::node(std::nullopt, {focusedField("AXComboBox")})});

    EXPECT_FALSE(searchFrom(container));
    ASSERT_EQ(logs.records().size(), 1U);
    const auto record = logs.records().front();
    EXPECT_EQ(record.category, "AccessibilityTarget");
    EXPECT_EQ(record.level, LogLevel::info);
    EXPECT_EQ(record.message,
              "Unsupported focused target tree: AXGroup[focused=nil]{AXTextField[focused="
              "Optional(true)],unknown[focused=nil]{AXComboBox[focused=Optional(true)]}}");
}

TEST_F(FocusedTextSearchTest, AContainersOwnFocusedElementIsFollowedBeforeItsChildren) {
    const auto chosen = focusedField();
    const auto container = FakeAccessibility::group({focusedField(), chosen});
    container->focusedElement = chosen;
    EXPECT_TRUE(isFound(searchFrom(container), chosen));

    // A container naming itself is not searched again.
    const auto field = focusedField();
    const auto selfFocused = FakeAccessibility::group({staticText(), field});
    selfFocused->focusedElement = selfFocused;
    EXPECT_TRUE(isFound(searchFrom(selfFocused), field));
}

TEST_F(FocusedTextSearchTest, NothingIsFoundWithoutAFocusedElement) {
    const auto application = accessibility.addApplication(42, {focusedField()});
    EXPECT_FALSE(search.focusedTextTarget(FakeAccessibility::handle(application)));
    EXPECT_TRUE(logs.messages().empty());
}

TEST_F(FocusedTextSearchTest, ATruncatedSearchFindsNothingEvenWhenItReachedTheField) {
    const auto containerWith = [](std::size_t leaves, const FakeNode& field) {
        std::vector<FakeNode> children(leaves);
        std::generate(children.begin(), children.end(), staticText);
        children.push_back(field);
        return FakeAccessibility::group(std::move(children));
    };
    // 255 nodes leave one unit of the budget.
    const auto field = focusedField();
    EXPECT_TRUE(isFound(searchFrom(containerWith(253, field)), field));
    // With 256 the field is the budget's last node.
    EXPECT_FALSE(searchFrom(containerWith(254, focusedField())));

    const auto unreached = focusedField();
    const auto large = containerWith(300, unreached);
    EXPECT_FALSE(searchFrom(large));
    EXPECT_EQ(unreached->reads, 0);
    EXPECT_EQ(std::count_if(large->children.begin(), large->children.end(),
                            [](const FakeNode& node) { return node->reads > 0; }),
              255);
}

TEST_F(FocusedTextSearchTest, TheTreeDescriptionStopsAfterThirtyTwoNodes) {
    std::vector<FakeNode> children(40);
    std::generate(children.begin(), children.end(), FakeAccessibility::textField);
    const auto wide = FakeAccessibility::group(children);

    std::string expected = "AXGroup[focused=nil]{";
    for (int index = 0; index < 40; ++index) {
        expected += index == 0 ? "" : ",";
        expected += index < 31 ? "AXTextField[focused=Optional(false)]" : "…";
    }
    expected += "}";
    EXPECT_EQ(search.targetTreeDescription(FakeAccessibility::handle(wide)), expected);
}

} // namespace
} // namespace kestrelle
