#include "Settings/EntryEditorModel.h"

#include "Support/ManualExecutor.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using Presentation = PasswordFieldPresentation;

std::shared_ptr<EntryEditorModel> editorFor(test::ManualExecutor& executor,
                                            EntryEditorRequest request) {
    return EntryEditorModel::create(std::move(request), executor, {}, {});
}

EntryEditorRequest editing(EntrySecretState state) {
    return EntryEditorRequest::forEntry({Uuid::random(), "Mail", state});
}

TEST(EntryEditorModelTest, TextsFollowTheRequest) {
    constexpr auto addSubtitle =
        "Saving asks for Touch ID and stores the password in the protected Keychain.";
    constexpr auto editSubtitle =
        "Rename this entry, replace its password, or both. Saving asks for Touch ID.";
    constexpr auto repairSubtitle =
        "The saved password for this entry is gone. Store a replacement to make it usable again.";
    constexpr auto keepHint = "Leave blank to keep current.";
    constexpr auto keepValue = "Empty. The saved password is kept unless you type a replacement.";
    struct Case {
        EntryEditorRequest request;
        const char* title;
        const char* subtitle;
        const char* caption;
        const char* hint;
        const char* emptyValue;
    };
    const Case cases[] = {
        {EntryEditorRequest::forNewEntry(), "Add Password", addSubtitle, "Password",
         "Required. Kestrelle types this value for you later.", "Empty. A password is required."},
        {editing(EntrySecretState::available), "Edit Password", editSubtitle,
         "Replacement Password", keepHint, keepValue},
        // An unknown state opens as a stored password: an empty field never touches the Keychain.
        {editing(EntrySecretState::unknown), "Edit Password", editSubtitle, "Replacement Password",
         keepHint, keepValue},
        {editing(EntrySecretState::missing), "Repair Password", repairSubtitle,
         "Replacement Password",
         "No usable password is stored. Enter a replacement to repair this entry, or leave blank "
         "to change only the label.",
         "Empty. No password is stored for this entry."},
        {{Uuid::random(), EntryEditorRequest::Mode::edit(false), "Mail",
          Presentation::replacementRequired},
         "Edit Password",
         editSubtitle,
         "Replacement Password",
         "Required. The previous value cannot be recovered.",
         "Empty. A password is required."},
    };
    test::ManualExecutor executor;
    for (const auto& [request, title, subtitle, caption, hint, emptyValue] : cases) {
        const auto editor = editorFor(executor, request);
        EXPECT_EQ(editor->title(), title);
        EXPECT_EQ(editor->subtitle(), subtitle) << title;
        EXPECT_EQ(editor->passwordCaption(), caption) << title;
        EXPECT_EQ(editor->passwordHint(), hint) << title;
        EXPECT_EQ(editor->passwordAccessibilityValue(), emptyValue) << title;
        EXPECT_EQ(editor->label(), request.label);
        // Neither the length nor the content shows, whatever was typed.
        for (std::string_view typed : {"x", "a much longer password 😀"}) {
            editor->setPassword(typed);
            EXPECT_EQ(editor->passwordAccessibilityValue(), "Replacement entered") << title;
        }
    }
}

TEST(EntryEditorModelTest, TheFirstFailingCheckIsShownAndSaveWaitsForValidInput) {
    constexpr auto controlText =
        "Passwords cannot contain control characters such as newlines, tabs, or NUL.";
    struct Case {
        Presentation presentation;
        const char* label;
        const char* password;
        std::optional<std::string> message;
    };
    const Case cases[] = {
        {Presentation::newSecret, " ", "a\tb", "Enter a label."},
        {Presentation::newSecret, "Mail", "", "Enter a password."},
        {Presentation::savedSecret, "Mail", "a\tb", controlText},
        {Presentation::savedSecret, "Mail", "", std::nullopt},
        {Presentation::missingSecret, "Mail", "", std::nullopt},
        {Presentation::replacementRequired, "Mail", "", "Enter a password."},
    };
    test::ManualExecutor executor;
    for (std::size_t index = 0; index < std::size(cases); ++index) {
        const auto& [presentation, label, password, message] = cases[index];
        const auto editor = editorFor(
            executor, {Uuid::random(), EntryEditorRequest::Mode::edit(false), "", presentation});
        editor->setLabel(label);
        editor->setPassword(password);
        const auto footer = editor->footerMessage();
        EXPECT_EQ(footer ? std::optional(footer->text) : std::nullopt, message) << "case " << index;
        EXPECT_EQ(editor->isSaveEnabled(), !message) << "case " << index;
        if (footer) {
            EXPECT_EQ(footer->symbol, "exclamationmark.triangle.fill");
        }
    }
}

} // namespace
} // namespace kestrelle
