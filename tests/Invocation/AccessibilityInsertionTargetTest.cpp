#include "Invocation/AccessibilityInsertionTarget.h"

#include "Support/FakeAccessibility.h"
#include "Support/FakeApplicationWorkspace.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::FakeAccessibility;
using test::FakeNode;

constexpr std::int32_t editorPid = 42;
constexpr std::int32_t browserPid = 43;
const FrontmostApplication editorInFront{editorPid, "com.example.editor"};
const FrontmostApplication browserInFront{browserPid, std::nullopt};
const InputInjectionError targetChanged(InputInjectionError::Kind::targetChanged);
const InputInjectionError permissionDenied(InputInjectionError::Kind::permissionDenied);

class AccessibilityInsertionTargetTest : public ::testing::Test {
protected:
    AccessibilityInsertionTargetTest() {
        workspace.frontmost = editorInFront;
        FakeAccessibility::focus(editor, field);
    }
    void TearDown() override { EXPECT_EQ(accessibility.unboundedReads, 0); }

    std::shared_ptr<AccessibilityInsertionTarget> capture() {
        return AccessibilityInsertionTarget::capture(accessibility, workspace);
    }
    void moveFocus(const FakeNode& element) {
        FakeAccessibility::focus(editor, element);
        accessibility.postFocusChanged(editorPid);
    }
    // The last log line, which must come from the target at `level`.
    std::string lastLog(LogLevel level = LogLevel::notice) const {
        const auto records = logs.records();
        EXPECT_TRUE(!records.empty() && records.back().level == level &&
                    records.back().category == "AccessibilityTarget");
        return records.empty() ? "" : records.back().message;
    }

    test::LogCapture logs;
    FakeAccessibility accessibility;
    test::FakeApplicationWorkspace workspace;
    FakeNode field = FakeAccessibility::textField();
    FakeNode otherField = FakeAccessibility::textField();
    FakeNode editor =
        accessibility.addApplication(editorPid, {FakeAccessibility::group({field, otherField})});
};

TEST_F(AccessibilityInsertionTargetTest, EachCaptureFailureCapturesNothingAndSaysWhy) {
    struct Case {
        std::function<void()> breakIt;
        std::string reason;
    };
    const std::vector<Case> cases{
        {[&] { accessibility.trusted = false; }, "Accessibility is not trusted"},
        {[&] { workspace.frontmost.reset(); }, "no frontmost application"},
        {[&] {
             workspace.frontmost = FrontmostApplication{workspace.currentPid, {}};
         },
         "Kestrelle is frontmost"},
        {[&] { FakeAccessibility::focus(editor, FakeAccessibility::node("AXWebArea")); },
         "frontmost application has no supported focused text target"},
        {[&] { field->processIdentifier = browserPid; }, "Accessibility application PID mismatch"},
        {[&] { field->processIdentifier.reset(); }, "Accessibility application PID mismatch"},
        {[&] { accessibility.observerCreationStatus = -25204; }, "could not observe focus changes"},
        {[&] { accessibility.observerCreationGivesNothing = true; },
         "could not observe focus changes"},
        {[&] { accessibility.addNotificationStatus = -25205; }, "could not observe focus changes"},
        {[&] { workspace.afterFrontmostRead = [&] { workspace.frontmost.reset(); }; },
         "frontmost application changed during capture"},
    };
    for (const auto& [breakIt, reason] : cases) {
        SCOPED_TRACE(reason);
        breakIt();
        EXPECT_FALSE(capture());
        EXPECT_EQ(lastLog(LogLevel::info), "Capture failed: " + reason);
        EXPECT_EQ(accessibility.observerCount(), 0U);
        accessibility = {};
        workspace = {};
        workspace.frontmost = editorInFront;
        editor = accessibility.addApplication(editorPid, {field});
        FakeAccessibility::focus(editor, field);
    }
    EXPECT_TRUE(logs.contains("AXObserverCreate failed with error -25204"));
    EXPECT_TRUE(logs.contains("AXObserverCreate failed with error 0"));
    EXPECT_TRUE(logs.contains("AXObserverAddNotification failed with error -25205"));
}

TEST_F(AccessibilityInsertionTargetTest, OnlyFocusMovingElsewhereInvalidatesAndThatForGood) {
    const auto target = capture();
    ASSERT_TRUE(target);
    EXPECT_EQ(target->processIdentifier(), editorPid);
    EXPECT_EQ(target->validationError(), std::nullopt);
    EXPECT_TRUE(logs.messages().empty());
    accessibility.postFocusChanged(editorPid);
    moveFocus(field);
    EXPECT_EQ(target->validationError(), std::nullopt);

    moveFocus(otherField);
    EXPECT_EQ(lastLog(), "Target invalidated by AX focus notification; destinationFrontmost=true");
    moveFocus(field);
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(), "Target validation failed: previously observed focus change");

    // Reported with the captured application in the background.
    const auto second = capture();
    ASSERT_TRUE(second);
    workspace.frontmost = browserInFront;
    moveFocus(FakeAccessibility::node("AXWebArea"));
    EXPECT_EQ(lastLog(), "Target invalidated by AX focus notification; destinationFrontmost=false");
}

TEST_F(AccessibilityInsertionTargetTest, OnlyAnotherOrAnUnknownApplicationsActivationInvalidates) {
    for (const std::optional<std::int32_t> activated :
         {std::optional(browserPid), std::optional<std::int32_t>{}}) {
        SCOPED_TRACE(activated.value_or(-1));
        const auto target = capture();
        ASSERT_TRUE(target);
        target->recordApplicationActivation(editorPid);
        EXPECT_EQ(target->validationError(), std::nullopt);
        target->recordApplicationActivation(activated);
        EXPECT_EQ(lastLog(), "Target invalidated by application activation");
        EXPECT_EQ(target->validationError(), targetChanged);
        // Lost trust outranks a change.
        accessibility.trusted = false;
        EXPECT_EQ(target->validationError(), permissionDenied);
        accessibility.trusted = true;
    }
}

TEST_F(AccessibilityInsertionTargetTest, ValidationChecksEachConditionInOrder) {
    const auto target = capture();
    ASSERT_TRUE(target);
    accessibility.trusted = false;
    workspace.frontmost = browserInFront;
    field->enabled = false;

    EXPECT_EQ(target->validationError(), permissionDenied);
    EXPECT_EQ(lastLog(), "Target validation failed: Accessibility permission denied");

    accessibility.trusted = true;
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(), "Target validation failed: destination application is not frontmost");

    workspace.frontmost = editorInFront;
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(),
              "Target validation failed: original element is not an enabled focused text field");

    // Still enabled and claiming focus, but the application's focus is elsewhere.
    field->enabled = {};
    editor->focusedElement = otherField;
    otherField->focused = true;
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(),
              "Target validation failed: current focused element differs from captured element");

    FakeAccessibility::focus(editor, field);
    workspace.afterFrontmostRead = [this] { workspace.frontmost = browserInFront; };
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(),
              "Target validation failed: destination application changed during validation");

    workspace.afterFrontmostRead = nullptr;
    workspace.frontmost = editorInFront;
    logs.clear();
    EXPECT_EQ(target->validationError(), std::nullopt);
    EXPECT_TRUE(logs.messages().empty());
}

TEST_F(AccessibilityInsertionTargetTest, ReleasingTheTargetRemovesItsObserver) {
    auto target = capture();
    ASSERT_TRUE(target);
    ASSERT_EQ(accessibility.observerCount(), 1U);
    // An observer holding its target would keep both alive here.
    target.reset();
    EXPECT_EQ(accessibility.observerCount(), 0U);
    moveFocus(otherField);
    EXPECT_TRUE(logs.messages().empty());
}

} // namespace
} // namespace kestrelle
