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
const InputInjectionError targetChanged(InputInjectionError::Kind::targetChanged);

class AccessibilityInsertionTargetTest : public ::testing::Test {
protected:
    AccessibilityInsertionTargetTest() {
        workspace.frontmost = FrontmostApplication{editorPid, "com.example.editor"};
        FakeAccessibility::focus(editor, field);
    }

    std::shared_ptr<AccessibilityInsertionTarget> capture() {
        return AccessibilityInsertionTarget::capture(accessibility, workspace);
    }
    void moveFocus(const FakeNode& element) {
        FakeAccessibility::focus(editor, element);
        accessibility.postFocusChanged(editorPid);
    }
    // The last log line, which must be at `level`.
    std::string lastLog(LogLevel level) const {
        const auto records = logs.records();
        if (records.empty()) {
            return "(nothing logged)";
        }
        EXPECT_EQ(records.back().level, level) << records.back().message;
        EXPECT_EQ(records.back().category, "AccessibilityTarget");
        return records.back().message;
    }

    test::LogCapture logs;
    FakeAccessibility accessibility;
    test::FakeApplicationWorkspace workspace;
    FakeNode field = FakeAccessibility::textField();
    FakeNode otherField = FakeAccessibility::textField();
    FakeNode editor =
        accessibility.addApplication(editorPid, {FakeAccessibility::group({field, otherField})});
};

TEST_F(AccessibilityInsertionTargetTest, CapturesTheFocusedFieldOfTheFrontmostApplication) {
    const auto target = capture();
    ASSERT_TRUE(target);
    EXPECT_EQ(target->processIdentifier(), editorPid);
    EXPECT_TRUE(accessibility.isSameElement(target->element(), FakeAccessibility::handle(field)));
    EXPECT_TRUE(
        accessibility.isSameElement(target->application(), FakeAccessibility::handle(editor)));
    EXPECT_EQ(accessibility.deliveringObserverCount(), 1U);
    EXPECT_EQ(target->validationError(), std::nullopt);
    EXPECT_TRUE(logs.messages().empty());
}

TEST_F(AccessibilityInsertionTargetTest, CaptureChecksTrustThenTheFrontmostApplicationThenFocus) {
    accessibility.trusted = false;
    workspace.frontmost.reset();
    FakeAccessibility::focus(editor, FakeAccessibility::node("AXWebArea"));

    EXPECT_FALSE(capture());
    EXPECT_EQ(lastLog(LogLevel::info), "Capture failed: Accessibility is not trusted");

    accessibility.trusted = true;
    EXPECT_FALSE(capture());
    EXPECT_EQ(lastLog(LogLevel::info), "Capture failed: no frontmost application");

    workspace.frontmost = FrontmostApplication{workspace.currentPid, "app.kestrelle.Kestrelle"};
    EXPECT_FALSE(capture());
    EXPECT_EQ(lastLog(LogLevel::info), "Capture failed: Kestrelle is frontmost");

    workspace.frontmost = FrontmostApplication{editorPid, std::nullopt};
    EXPECT_FALSE(capture());
    EXPECT_EQ(lastLog(LogLevel::info),
              "Capture failed: frontmost application has no supported focused text target");

    FakeAccessibility::focus(editor, field);
    field->processIdentifier = browserPid;
    EXPECT_FALSE(capture());
    EXPECT_EQ(lastLog(LogLevel::info), "Capture failed: Accessibility application PID mismatch");
    field->processIdentifier.reset();
    EXPECT_FALSE(capture());
    EXPECT_EQ(lastLog(LogLevel::info), "Capture failed: Accessibility application PID mismatch");
    EXPECT_EQ(accessibility.observerCount(), 0U);
}

TEST_F(AccessibilityInsertionTargetTest, CaptureFailsWhenFocusCannotBeObservedOrFrontmostChanges) {
    accessibility.observerCreationStatus = -25204;
    EXPECT_FALSE(capture());
    EXPECT_EQ(logs.messages(),
              (std::vector<std::string>{"AXObserverCreate failed with error -25204",
                                        "Capture failed: could not observe focus changes"}));

    logs.clear();
    accessibility.observerCreationStatus = 0;
    accessibility.observerCreationGivesNothing = true;
    EXPECT_FALSE(capture());
    EXPECT_TRUE(logs.contains("AXObserverCreate failed with error 0"));

    logs.clear();
    accessibility.observerCreationGivesNothing = false;
    accessibility.addNotificationStatus = -25205;
    EXPECT_FALSE(capture());
    EXPECT_EQ(logs.messages(),
              (std::vector<std::string>{"AXObserverAddNotification failed with error -25205",
                                        "Capture failed: could not observe focus changes"}));
    EXPECT_EQ(accessibility.observerCount(), 0U);

    accessibility.addNotificationStatus = 0;
    workspace.afterFrontmostRead = [this] { workspace.frontmost.reset(); };
    EXPECT_FALSE(capture());
    EXPECT_EQ(lastLog(LogLevel::info),
              "Capture failed: frontmost application changed during capture");
    EXPECT_EQ(accessibility.observerCount(), 0U);
}

TEST_F(AccessibilityInsertionTargetTest, AFocusNotificationLeavingTheSameFieldFocusedIsHarmless) {
    const auto target = capture();
    ASSERT_TRUE(target);
    accessibility.postFocusChanged(editorPid);
    moveFocus(field);
    EXPECT_EQ(target->validationError(), std::nullopt);
}

TEST_F(AccessibilityInsertionTargetTest, FocusMovingElsewhereInvalidatesTheTargetForGood) {
    const auto target = capture();
    ASSERT_TRUE(target);

    moveFocus(otherField);
    EXPECT_EQ(lastLog(LogLevel::notice),
              "Target invalidated by AX focus notification; destinationFrontmost=true");

    moveFocus(field);
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(LogLevel::notice),
              "Target validation failed: previously observed focus change");

    // Reported with the captured application in the background.
    const auto second = capture();
    ASSERT_TRUE(second);
    workspace.frontmost = FrontmostApplication{browserPid, std::nullopt};
    moveFocus(FakeAccessibility::node("AXWebArea"));
    EXPECT_EQ(lastLog(LogLevel::notice),
              "Target invalidated by AX focus notification; destinationFrontmost=false");
}

TEST_F(AccessibilityInsertionTargetTest, OnlyAnotherOrAnUnknownApplicationsActivationInvalidates) {
    const auto target = capture();
    ASSERT_TRUE(target);
    target->recordApplicationActivation(editorPid);
    EXPECT_EQ(target->validationError(), std::nullopt);
    EXPECT_TRUE(logs.messages().empty());

    target->recordApplicationActivation(std::nullopt);
    EXPECT_EQ(lastLog(LogLevel::notice), "Target invalidated by application activation");
    EXPECT_EQ(target->validationError(), targetChanged);

    const auto other = capture();
    ASSERT_TRUE(other);
    other->recordApplicationActivation(browserPid);
    EXPECT_EQ(other->validationError(), targetChanged);

    // Lost trust outranks a change.
    accessibility.trusted = false;
    EXPECT_EQ(other->validationError(),
              InputInjectionError(InputInjectionError::Kind::permissionDenied));
}

TEST_F(AccessibilityInsertionTargetTest, ValidationChecksEachConditionInOrder) {
    const auto target = capture();
    ASSERT_TRUE(target);
    accessibility.trusted = false;
    workspace.frontmost = FrontmostApplication{browserPid, std::nullopt};
    field->enabled = false;

    EXPECT_EQ(target->validationError(),
              InputInjectionError(InputInjectionError::Kind::permissionDenied));
    EXPECT_EQ(lastLog(LogLevel::notice),
              "Target validation failed: Accessibility permission denied");

    accessibility.trusted = true;
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(LogLevel::notice),
              "Target validation failed: destination application is not frontmost");

    workspace.frontmost = FrontmostApplication{editorPid, std::nullopt};
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(LogLevel::notice),
              "Target validation failed: original element is not an enabled focused text field");

    // Still enabled and claiming focus, but the application's focus is elsewhere.
    field->enabled.reset();
    editor->focusedElement = otherField;
    otherField->focused = true;
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(LogLevel::notice),
              "Target validation failed: current focused element differs from captured element");

    FakeAccessibility::focus(editor, field);
    workspace.afterFrontmostRead = [this] {
        workspace.frontmost = FrontmostApplication{browserPid, std::nullopt};
    };
    EXPECT_EQ(target->validationError(), targetChanged);
    EXPECT_EQ(lastLog(LogLevel::notice),
              "Target validation failed: destination application changed during validation");

    workspace.afterFrontmostRead = nullptr;
    workspace.frontmost = FrontmostApplication{editorPid, std::nullopt};
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
