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
    const std::string text = "text";
    const std::vector<std::tuple<AccessibilityValue, AccessibilityValue, AccessibilityValue,
                                 AccessibilityValue, bool>>
        cases{{field, true, true, {}, true},
              {std::string("AXTextArea"), true, true, {}, true},
              {std::string("AXComboBox"), true, true, {}, true},
              {field, {}, true, {}, true},
              {field, false, true, {}, false},
              {field, true, false, {}, false},
              {field, true, {}, {}, false},
              {std::string("AXWebArea"), true, true, {}, false},
              {{}, true, true, {}, false},
              // Numbers 0 and 1 count as booleans; any other value is absent.
              {field, 1.0, 1.0, {}, true},
              {field, 0.0, true, {}, false},
              {field, true, 0.0, {}, false},
              {field, 2.0, true, {}, true},
              {field, true, 0.5, {}, false},
              {field, std::string("false"), std::string("true"), {}, false},
              // AT-SPI's roles, which must be editable too; macOS's are never asked.
              {text, true, true, true, true},
              {std::string("entry"), true, true, 1.0, true},
              {std::string("password text"), true, true, true, true},
              {std::string("combo box"), true, true, true, true},
              {std::string("combo box"), true, true, {}, false},
              {text, true, true, false, false},
              {text, false, true, true, false},
              {text, true, false, true, false},
              {std::string("label"), true, true, true, false},
              {field, true, true, false, true}};
    for (std::size_t index = 0; index < cases.size(); ++index) {
        SCOPED_TRACE(index);
        const auto& [role, enabled, focused, editable, supported] = cases[index];
        auto node = FakeAccessibility::node(std::nullopt);
        node->role = role;
        node->enabled = enabled;
        node->focused = focused;
        node->editable = editable;
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

    // Without a focused element there is nothing to search, and nothing to log.
    const auto application = accessibility.addApplication(43, {focusedField()});
    EXPECT_FALSE(search.focusedTextTarget(FakeAccessibility::handle(application)));
    EXPECT_TRUE(logs.messages().empty());
}

// Without a named focus, the one focused field anywhere in the application is the target.
TEST_F(FocusedTextSearchTest, SearchesTheWholeApplicationOnlyWhereItCannotNameItsFocus) {
    const auto field = focusedField();
    const auto window = FakeAccessibility::group({staticText(), FakeAccessibility::group({field})});
    const auto application = accessibility.addApplication(42, {window, staticText()});
    const auto searched = [&] {
        return search.focusedTextTarget(FakeAccessibility::handle(application));
    };
    EXPECT_FALSE(searched());
    application->namesFocusedElement = false;
    EXPECT_TRUE(isFound(searched(), field));

    application->children.push_back(focusedField("AXTextArea"));
    EXPECT_FALSE(searched());
    application->children.pop_back();
    // The node budget holds: the application's last child is never reached.
    std::ranges::generate_n(std::back_inserter(window->children), FocusedTextSearch::searchBudget,
                            staticText);
    application->children.back()->reads = 0;
    EXPECT_FALSE(searched());
    EXPECT_EQ(application->children.back()->reads, 0);
}

} // namespace
} // namespace kestrelle
