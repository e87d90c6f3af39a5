#include "Invocation/AccessibilityInsertionTarget.h"

#include "Support/FakeAccessibility.h"
#include "Support/FakeApplicationWorkspace.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::FakeAccessibility;
using test::FakeNode;
using Kind = InputInjectionError::Kind;

constexpr std::int32_t editorPid = 42;
constexpr std::int32_t browserPid = 43;
const FrontmostApplication editorInFront{editorPid, "com.example.editor"};
const FrontmostApplication browserInFront{browserPid, std::nullopt};

class AccessibilityInsertionTargetTest : public ::testing::Test {
protected:
    AccessibilityInsertionTargetTest() { startOver(); }
    void TearDown() override { EXPECT_EQ(accessibility.unboundedReads, 0); }

    // The editor in front, with the first of its two fields focused.
    void startOver() {
        accessibility = {};
        workspace = {};
        workspace.frontmost = editorInFront;
        field = FakeAccessibility::textField();
        otherField = FakeAccessibility::textField();
        editor = accessibility.addApplication(editorPid,
                                              {FakeAccessibility::group({field, otherField})});
        FakeAccessibility::focus(editor, field);
    }
    std::shared_ptr<AccessibilityInsertionTarget> capture() {
        return AccessibilityInsertionTarget::capture(accessibility, workspace);
    }
    void moveFocus(const FakeNode& element) {
        FakeAccessibility::focus(editor, element);
        accessibility.postFocusChanged(editorPid);
    }

    test::LogCapture logs;
    FakeAccessibility accessibility;
    test::FakeApplicationWorkspace workspace;
    FakeNode field;
    FakeNode otherField;
    FakeNode editor;
};

// The captured field stays valid while it is the focused text field of the application in front
// and Accessibility is trusted. A focus change away from it, or another or an unknown
// application's activation, invalidates it for good; lost trust outranks everything.
TEST_F(AccessibilityInsertionTargetTest, ValidationFailsOnceTheFieldIsNoLongerTheOneInFront) {
    std::shared_ptr<AccessibilityInsertionTarget> target;
    const auto activated = [&](std::optional<std::int32_t> pid) {
        return [&, pid] { target->recordApplicationActivation(pid); };
    };
    const std::vector<std::tuple<const char*, std::function<void()>, std::optional<Kind>>> cases{
        {"untouched", [] {}, std::nullopt},
        {"the editor activated", activated(editorPid), std::nullopt},
        {"focus away and back",
         [&] {
             moveFocus(otherField);
             moveFocus(field);
         },
         Kind::targetChanged},
        {"another application activated", activated(browserPid), Kind::targetChanged},
        {"an unknown application activated", activated(std::nullopt), Kind::targetChanged},
        {"trust lost", [&] { accessibility.trusted = false; }, Kind::permissionDenied},
        {"trust lost after an activation",
         [&] {
             activated(browserPid)();
             accessibility.trusted = false;
         },
         Kind::permissionDenied},
        {"another application in front", [&] { workspace.frontmost = browserInFront; },
         Kind::targetChanged},
        // The field still claims the focus, but the application's focus is elsewhere.
        {"focus elsewhere unnotified",
         [&] {
             editor->focusedElement = otherField;
             otherField->focused = true;
         },
         Kind::targetChanged},
        {"another application in front during validation",
         [&] { workspace.afterFrontmostRead = [&] { workspace.frontmost = browserInFront; }; },
         Kind::targetChanged},
    };
    for (const auto& [name, breakIt, expected] : cases) {
        SCOPED_TRACE(name);
        startOver();
        target = capture();
        ASSERT_TRUE(target);
        EXPECT_EQ(target->processIdentifier(), editorPid);
        breakIt();
        const auto error = target->validationError();
        EXPECT_EQ(error ? std::optional(error->kind()) : std::nullopt, expected);
    }
}

// Where the picker grabs the keyboard, the field loses its focus to nobody while the picker is
// up: that fails validation only until the field has the focus again. Focus given to another
// field still counts for good, as any loss does where the picker is the key window.
TEST_F(AccessibilityInsertionTargetTest, UnderAKeyboardGrabOnlyFocusGivenElsewhereCounts) {
    using PickerKeys = PlatformTraits::PickerKeys;
    for (const auto pickerKeys : {PickerKeys::keyWindow, PickerKeys::keyboardGrab}) {
        SCOPED_TRACE(pickerKeys == PickerKeys::keyWindow ? "key window" : "keyboard grab");
        startOver();
        const auto target =
            AccessibilityInsertionTarget::capture(accessibility, workspace, pickerKeys);
        ASSERT_TRUE(target);
        editor->focusedElement.reset();
        field->focused = false;
        accessibility.postFocusChanged(editorPid);
        EXPECT_TRUE(target->validationError());
        moveFocus(field);
        EXPECT_EQ(target->validationError().has_value(), pickerKeys == PickerKeys::keyWindow);
        moveFocus(otherField);
        moveFocus(field);
        EXPECT_TRUE(target->validationError());
    }
}

TEST_F(AccessibilityInsertionTargetTest, ReleasingTheTargetRemovesItsObserver) {
    auto target = capture();
    ASSERT_TRUE(target);
    ASSERT_EQ(accessibility.observerCount(), 1U);
    // An observer holding its target would keep both alive here.
    target.reset();
    EXPECT_EQ(accessibility.observerCount(), 0U);
}

} // namespace
} // namespace kestrelle
